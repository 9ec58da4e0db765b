// The process-wide file input/output queue: one serial queue through which
// the library funnels background file work (the file loggers' queues target
// it), so that such work never competes with itself for the disk.
#pragma once

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan {

// The shared serial file input/output queue, labelled
// "com.zorlan.platform.file-io", quality of service `utility`. Created on
// first use, once, safely from any thread; every call returns the same queue
// (handles compare equal). Queues that target it run their work one item at a
// time with its own work and that of every other queue targeting it.
DispatchQueue fileIOQueue();

}  // namespace zorlan
