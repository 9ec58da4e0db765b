#include "zorlan/Scheduling/Queues.hpp"

namespace zorlan::queues {
namespace {

struct MainQueueMarker {};

const DispatchSpecificKey<MainQueueMarker>& mainQueueMarker() {
  // Created once, under the run-once guard of a function-local static, and
  // kept for the life of the process.
  static const auto* key = [] {
    auto* created = new DispatchSpecificKey<MainQueueMarker>();
    DispatchQueue::main().setSpecific(*created, MainQueueMarker{});
    return created;
  }();
  return *key;
}

}  // namespace

DispatchQueue serial(const std::string& label, DispatchQoS qos) {
  return DispatchQueue("com.zorlan." + label, qos,
                       DispatchQueue::global(qos == DispatchQoS::unspecified
                                                 ? DispatchQoS::standard
                                                 : qos));
}

bool isMain() { return DispatchQueue::currentSpecific(mainQueueMarker()).has_value(); }

void asyncMainIfNeeded(std::function<void()> work) {
  if (isMain()) {
    work();
  } else {
    DispatchQueue::main().async(std::move(work));
  }
}

}  // namespace zorlan::queues
