// Queue helpers: the library's labelled serial queues and main-queue checks.
#pragma once

#include <functional>
#include <string>

#include "zorlan/Dispatch/DispatchQueue.hpp"

namespace zorlan::queues {

// These are free functions in `zorlan::queues` rather than statics of
// `DispatchQueue`, which belongs to the layer below and knows nothing of the
// library's label prefix or its main-queue marker.

// A new serial queue labelled "com.zorlan." + `label` (so "Logging" gives
// "com.zorlan.Logging"), with `qos`, targeting the global queue of that
// quality-of-service class (`unspecified`: the default class). Thread-safe.
DispatchQueue serial(const std::string& label, DispatchQoS qos);

// True exactly when the caller runs on the main queue: on a queue carrying
// the main-queue marker, not merely on the thread that runs the main queue
// (work of another queue run there through `sync` is not on the main queue).
// The marker, a queue-specific key of an empty value, is created once (under
// a run-once guard) on first use of `isMain` or `asyncMainIfNeeded` and stored
// on the main queue only. Thread-safe.
bool isMain();

// Runs `work` at once, on the caller's stack, before returning, when
// `isMain()`; otherwise submits it to the main queue and returns first (it
// then runs when the host runs the main queue). Thread-safe.
void asyncMainIfNeeded(std::function<void()> work);

}  // namespace zorlan::queues
