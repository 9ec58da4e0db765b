// Queue helpers: the library's labelled serial queues and main-queue checks.
#pragma once

#include <functional>
#include <string>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan::queues {

// A serial queue labelled "com.zorlan." + `label`, with `qos`, targeting the
// global queue of that quality of service.
DispatchQueue serial(const std::string& label, DispatchQoS qos);

// True exactly when the caller runs on the main queue: on a queue carrying
// the main-queue marker, not merely on the thread that runs the main queue.
// The marker is created once, on first use, and stored on the main queue.
bool isMain();

// Runs `work` at once, before returning, when `isMain()`; otherwise submits
// it to the main queue and returns first.
void asyncMainIfNeeded(std::function<void()> work);

}  // namespace zorlan::queues
