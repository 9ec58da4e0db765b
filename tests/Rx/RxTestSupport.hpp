// Helpers for the reactive core's tests.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "zorlan/Rx/Observable.hpp"

namespace zorlan::rx::testing {

// Everything one subscription received.
template <class T>
struct Collected {
  std::vector<T> elements;
  bool completed = false;
  std::string error;  // the error's what(), empty when none
  Disposable subscription;
};

template <class T>
std::shared_ptr<Collected<T>> collect(const Observable<T>& source) {
  auto c = std::make_shared<Collected<T>>();
  c->subscription = source.subscribe(AnyObserver<T>::make(
      [c](const T& v) { c->elements.push_back(v); },
      [c](std::exception_ptr e) {
        try {
          std::rethrow_exception(e);
        } catch (const std::exception& x) {
          c->error = x.what();
        }
      },
      [c] { c->completed = true; }));
  return c;
}

inline std::exception_ptr failure(const char* what) {
  return std::make_exception_ptr(std::runtime_error(what));
}

}  // namespace zorlan::rx::testing
