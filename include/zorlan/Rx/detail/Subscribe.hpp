// Small pieces the operators share.
#pragma once

#include <exception>

#include "zorlan/Rx/CompositeDisposable.hpp"

namespace zorlan::rx::detail {

inline auto ignoreError() {
  return [](std::exception_ptr) {};
}
inline auto ignoreCompleted() {
  return [] {};
}

// Runs `subscribeAll`, which adds subscriptions to `group`; when it throws
// (a handler threw on an element delivered during subscription), disposes
// the ones it had made before the exception leaves.
template <class F>
void subscribeAllOrNone(CompositeDisposable& group, F subscribeAll) {
  try {
    subscribeAll();
  } catch (...) {
    group.dispose();
    throw;
  }
}

}  // namespace zorlan::rx::detail
