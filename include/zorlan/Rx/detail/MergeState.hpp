// MergeState: how the combining operators serialise several sources into
// one observer.
#pragma once

#include <cstddef>
#include <exception>
#include <mutex>
#include <utility>

#include "zorlan/Rx/CompositeDisposable.hpp"
#include "zorlan/Rx/Observer.hpp"

namespace zorlan::rx::detail {

// Serialises events from several sources into one observer and counts the
// sources still running.
template <class T>
struct MergeState {
  explicit MergeState(AnyObserver<T> o) : observer(std::move(o)) {}
  void next(const T& v) {
    std::lock_guard lock(mutex);
    if (!stopped) observer.onNext(v);
  }
  void error(std::exception_ptr e) {
    std::lock_guard lock(mutex);
    if (stopped) return;
    stopped = true;
    observer.onError(e);
  }
  void sourceCompleted() {
    std::lock_guard lock(mutex);
    if (stopped || --active > 0) return;
    stopped = true;
    observer.onCompleted();
  }
  void sourceStarted() {
    std::lock_guard lock(mutex);
    ++active;
  }

  std::recursive_mutex mutex;
  AnyObserver<T> observer;
  std::size_t active = 1;  // the outer sequence (or the list) counts as one
  bool stopped = false;
  CompositeDisposable group;
};

}  // namespace zorlan::rx::detail
