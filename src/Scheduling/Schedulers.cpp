#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/ConcurrentMainScheduler.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Scheduling/SchedulerFactory.hpp"

namespace zorlan {

rx::SchedulerPtr Schedulers::mainInstance() const {
  return std::make_shared<rx::MainScheduler>();
}

rx::SchedulerPtr Schedulers::mainShared() const { return rx::MainScheduler::instance(); }

rx::SchedulerPtr Schedulers::asyncShared() const { return rx::MainScheduler::asyncInstance(); }

rx::SchedulerPtr Schedulers::serialInstance(DispatchQoS qos,
                                            const std::string& internalSerialQueueName) const {
  return std::make_shared<rx::SerialDispatchQueueScheduler>(qos, internalSerialQueueName,
                                                            rx::RxTimeInterval::zero());
}

rx::SchedulerPtr Schedulers::serialInstance(DispatchQoS qos) const {
  return serialInstance(qos, rx::SerialDispatchQueueScheduler::kDefaultQueueName);
}

rx::SchedulerPtr Schedulers::concurrentInstance(const DispatchQueue& queue) const {
  return std::make_shared<rx::ConcurrentDispatchQueueScheduler>(queue, rx::RxTimeInterval::zero());
}

rx::SchedulerPtr Schedulers::concurrentInstance(DispatchQoS qos) const {
  return std::make_shared<rx::ConcurrentDispatchQueueScheduler>(qos, rx::RxTimeInterval::zero());
}

rx::SchedulerPtr Schedulers::mainConcurrentShared() const {
  return rx::ConcurrentMainScheduler::instance();
}

}  // namespace zorlan
