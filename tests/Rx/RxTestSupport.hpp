// Helpers shared by the tests of the reactive core and of what builds on it.
#pragma once

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx::testing {

using Ints = std::vector<int>;
using Log = std::vector<std::string>;

// Everything one subscription received.
template <class T>
struct Collected {
  std::vector<T> elements;
  bool completed = false;
  std::string error;  // the error's what(), empty when none
  Disposable subscription;
};

// The what() of the exception in `e`.
inline std::string whatOf(std::exception_ptr e) {
  try {
    std::rethrow_exception(e);
  } catch (const std::exception& x) {
    return x.what();
  } catch (...) {
    return "not a std::exception";
  }
}

template <class T>
std::shared_ptr<Collected<T>> collect(const Observable<T>& source) {
  auto c = std::make_shared<Collected<T>>();
  // The observer holds the record weakly: the record holds the subscription.
  std::weak_ptr<Collected<T>> weak = c;
  c->subscription = source.subscribe(AnyObserver<T>::make(
      [weak](const T& v) {
        if (auto c = weak.lock()) c->elements.push_back(v);
      },
      [weak](std::exception_ptr e) {
        if (auto c = weak.lock()) c->error = whatOf(e);
      },
      [weak] {
        if (auto c = weak.lock()) c->completed = true;
      }));
  return c;
}

inline std::exception_ptr failure(const char* what) {
  return std::make_exception_ptr(std::runtime_error(what));
}

// A scheduler action that runs `f` and returns nothing to dispose.
template <class F>
std::function<Disposable()> act(F f) {
  return [f]() mutable {
    f();
    return Disposable();
  };
}

// A scheduler action that appends `entry` to `log`.
inline std::function<Disposable()> record(Log& log, std::string entry) {
  return act([&log, entry] { log.push_back(entry); });
}

}  // namespace zorlan::rx::testing
