// Executor: something that runs work, declared for client code.
#pragma once

#include <functional>

namespace zorlan {

// Runs work as the implementation sees fit. The library provides no conformer
// and calls it nowhere.
class Executor {
 public:
  virtual ~Executor() = default;
  // Runs `work`, now or later, on a thread of the implementation's choosing.
  virtual void execute(std::function<void()> work) = 0;
};

}  // namespace zorlan
