#include "zorlan/Numerics/AspectRatio.hpp"

#include <charconv>
#include <random>
#include <string_view>

namespace zorlan {
namespace {

struct Label {
  CGFloat ratio;
  std::string_view text;
};

constexpr Label kLabels[] = {
    {AspectRatio::fourByThree, "1.33"},
    {AspectRatio::sixteenByNine, "1.78"},
    {AspectRatio::seventyOne, "0.71"},
    {AspectRatio::eighty, "0.80"},
    {AspectRatio::eightyFive, "0.85"},
    {AspectRatio::oneTwo, "1.20"},
    {AspectRatio::one, "1.00"},
    {AspectRatio::two, "2.00"},
    {AspectRatio::three, "3.00"},
    {AspectRatio::threeThirtyTwo, "3.32"},
    {AspectRatio::threeSeventySix, "3.76"},
    {AspectRatio::threeNinetyOne, "3.91"},
    {AspectRatio::fourSixOne, "4.61"},
    {AspectRatio::twoFourEight, "2.48"},
};

// 64-bit numbers from the operating system's random source.
struct SystemRandom {
  using result_type = std::uint64_t;
  static constexpr result_type min() { return 0; }
  static constexpr result_type max() { return ~result_type{0}; }
  result_type operator()() {
    thread_local std::random_device device;
    static_assert(sizeof(std::random_device::result_type) == 4);
    return (static_cast<result_type>(device()) << 32) | device();
  }
};

}  // namespace

std::string AspectRatio::asString(CGFloat ratio) {
  for (const auto& label : kLabels) {
    if (label.ratio == ratio) return std::string(label.text);
  }
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, ratio);
  std::string text(buffer, result.ptr);
  // A whole number reads "5.0", not "5".
  if (text.find_first_not_of("-0123456789") == std::string::npos) text += ".0";
  return text;
}

CGFloat AspectRatio::randomAspectRatio() {
  SystemRandom random;
  return randomAspectRatio(random);
}

}  // namespace zorlan
