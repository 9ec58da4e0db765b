#include "zorlan/Dispatch/FileIOQueue.hpp"

namespace zorlan {

DispatchQueue fileIOQueue() {
  // Never destroyed: queues that target it may outlive static destruction.
  static const DispatchQueue* const queue =
      new DispatchQueue("com.zorlan.platform.file-io", DispatchQoS::utility);
  return *queue;
}

}  // namespace zorlan
