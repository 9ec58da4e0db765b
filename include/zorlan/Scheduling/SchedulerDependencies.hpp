// SchedulerDependencies: how an object that needs schedulers is given its
// scheduler factory.
#pragma once

#include <memory>

#include "zorlan/Scheduling/SchedulerFactory.hpp"

namespace zorlan {

// Implemented by whatever hands schedulers to the objects it builds. The
// library provides no conformer and calls it nowhere.
class SchedulerDependencies {
 public:
  virtual ~SchedulerDependencies() = default;
  // The factory to take schedulers from; never null.
  virtual std::shared_ptr<const SchedulerFactory> schedulerFactory() const = 0;
};

}  // namespace zorlan
