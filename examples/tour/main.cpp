// A tour of ZorlanFoundation: the library at work, printed for a person.
#include <iostream>

#include "zorlan/Rx/DisposeBag.hpp"

int main() {
  using namespace zorlan;
  std::cout << "ZorlanFoundation tour\n";
  rx::DisposeBag bag;
  rx::Disposable::create([] { std::cout << "  a subscription was released\n"; }).disposed(bag);
  bag = rx::DisposeBag();
  return 0;
}
