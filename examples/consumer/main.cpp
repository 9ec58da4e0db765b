// Uses an installed library: built through find_package(ZorlanFoundation
// CONFIG) and through pkg-config, against the shared and the static library.
#include <iostream>

#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Text/FuzzySearch.hpp"

int main() {
  int released = 0;
  {
    zorlan::rx::DisposeBag bag;
    zorlan::rx::Disposable::create([&] { ++released; }).disposed(bag);
  }
  // Fuzzy matching reads text through ICU: a static link must bring it along.
  const auto score = zorlan::fuzzyMatchScore("Caf\xC3\xA9 Society", "caf\xC3\xA9");
  std::cout << "consumer: released " << released << " subscription, score " << score.value_or(-1)
            << "\n";
  return released == 1 && score ? 0 : 1;
}
