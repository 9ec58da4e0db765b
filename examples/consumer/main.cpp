// Uses the installed library through find_package(ZorlanFoundation CONFIG).
#include <iostream>

#include "zorlan/Rx/DisposeBag.hpp"

int main() {
  int released = 0;
  {
    zorlan::rx::DisposeBag bag;
    zorlan::rx::Disposable::create([&] { ++released; }).disposed(bag);
  }
  std::cout << "consumer: released " << released << " subscription\n";
  return released == 1 ? 0 : 1;
}
