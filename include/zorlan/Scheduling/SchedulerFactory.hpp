// SchedulerFactory: an injectable source of reactive schedulers, so that
// timers and helpers can be given virtual-time schedulers in tests.
//
// Each operation returns the full scheduler interface; a caller that needs
// only the immediate-scheduler interface converts the result
// (`rx::ImmediateSchedulerPtr s = factory.mainShared();`), since every full
// scheduler is an immediate one.
#pragma once

#include <memory>
#include <string>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Rx/SchedulerType.hpp"

namespace zorlan {

// Hands out the reactive core's schedulers. Every operation returns a
// non-null scheduler and may be called from any thread.
class SchedulerFactory {
 public:
  virtual ~SchedulerFactory() = default;

  // A scheduler of the main queue made for the caller (`Schedulers`: a new
  // `MainScheduler` on each call).
  virtual rx::SchedulerPtr mainInstance() const = 0;
  // The shared main-queue scheduler (`MainScheduler::instance()`).
  virtual rx::SchedulerPtr mainShared() const = 0;
  // The shared scheduler that always defers to the main queue
  // (`MainScheduler::asyncInstance()`).
  virtual rx::SchedulerPtr asyncShared() const = 0;
  // A new serial scheduler over the global queue of `qos`, its internal
  // serial queue named `internalSerialQueueName`, leeway zero.
  virtual rx::SchedulerPtr serialInstance(DispatchQoS qos,
                                          const std::string& internalSerialQueueName) const = 0;
  // The same with the internal serial queue name
  // "rx.global_dispatch_queue.serial".
  virtual rx::SchedulerPtr serialInstance(DispatchQoS qos) const = 0;
  // A new concurrent scheduler over `queue`, leeway zero.
  virtual rx::SchedulerPtr concurrentInstance(const DispatchQueue& queue) const = 0;
  // A new concurrent scheduler over the global queue of `qos`, leeway zero.
  virtual rx::SchedulerPtr concurrentInstance(DispatchQoS qos) const = 0;
  // The shared `ConcurrentMainScheduler::instance()`.
  virtual rx::SchedulerPtr mainConcurrentShared() const = 0;
};

// The production factory. Stateless: every instance behaves the same.
//
// | operation                 | returns                                             |
// |---------------------------|-----------------------------------------------------|
// | mainInstance              | a new `MainScheduler` on each call                  |
// | mainShared                | `MainScheduler::instance()`                         |
// | asyncShared               | `MainScheduler::asyncInstance()`                    |
// | serialInstance(qos, name) | a new `SerialDispatchQueueScheduler` over the       |
// |                           | global queue of `qos`, queue `name`, leeway zero    |
// | serialInstance(qos)       | the same, named "rx.global_dispatch_queue.serial"   |
// | concurrentInstance(queue) | a new `ConcurrentDispatchQueueScheduler`, leeway 0  |
// | concurrentInstance(qos)   | a new one for the global queue of `qos`, leeway 0   |
// | mainConcurrentShared      | `ConcurrentMainScheduler::instance()`               |
class Schedulers final : public SchedulerFactory {
 public:
  rx::SchedulerPtr mainInstance() const override;
  rx::SchedulerPtr mainShared() const override;
  rx::SchedulerPtr asyncShared() const override;
  rx::SchedulerPtr serialInstance(DispatchQoS qos,
                                  const std::string& internalSerialQueueName) const override;
  rx::SchedulerPtr serialInstance(DispatchQoS qos) const override;
  rx::SchedulerPtr concurrentInstance(const DispatchQueue& queue) const override;
  rx::SchedulerPtr concurrentInstance(DispatchQoS qos) const override;
  rx::SchedulerPtr mainConcurrentShared() const override;
};

}  // namespace zorlan
