// Events and observers: what an observable sequence delivers, and to whom.
#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace zorlan::rx {

// One event of a sequence: an element, an error (terminal) or completion
// (terminal). After a terminal event nothing more is delivered.
template <class T>
struct Event {
  enum class Kind { next, error, completed };

  static Event next(T element) { return Event{Kind::next, std::move(element), nullptr}; }
  static Event failed(std::exception_ptr error) { return Event{Kind::error, std::nullopt, error}; }
  static Event completed() { return Event{Kind::completed, std::nullopt, nullptr}; }

  bool isStopEvent() const noexcept { return kind != Kind::next; }

  Kind kind;
  std::optional<T> element;
  std::exception_ptr error;
};

// What every observer implements. Calls to one observer never overlap, and
// nothing comes after a terminal event: subjects, relays and the combining
// operators keep that however many threads send. A sequence made with
// `Observable::create` must keep it too (call its observer from one thread at
// a time). A handler that throws ends its subscription: see Subjects.hpp.
template <class T>
class ObserverBase {
 public:
  virtual ~ObserverBase() = default;
  virtual void onNext(const T& element) = 0;
  virtual void onError(std::exception_ptr error) = 0;
  virtual void onCompleted() = 0;
};

namespace detail {

template <class T, class OnNext, class OnError, class OnCompleted>
class LambdaObserver final : public ObserverBase<T> {
 public:
  LambdaObserver(OnNext n, OnError e, OnCompleted c)
      : onNext_(std::move(n)), onError_(std::move(e)), onCompleted_(std::move(c)) {}
  void onNext(const T& element) override { onNext_(element); }
  void onError(std::exception_ptr error) override { onError_(error); }
  void onCompleted() override { onCompleted_(); }

 private:
  OnNext onNext_;
  OnError onError_;
  OnCompleted onCompleted_;
};

}  // namespace detail

// A type-erased observer handle: copies refer to the same observer. A
// default-constructed observer ignores every event.
template <class T>
class AnyObserver {
 public:
  AnyObserver() = default;
  explicit AnyObserver(std::shared_ptr<ObserverBase<T>> impl) noexcept : impl_(std::move(impl)) {}
  // An observer that hands every event to `handler`.
  explicit AnyObserver(std::function<void(const Event<T>&)> handler)
      : impl_(make([handler](const T& v) { handler(Event<T>::next(v)); },
                   [handler](std::exception_ptr e) { handler(Event<T>::failed(e)); },
                   [handler] { handler(Event<T>::completed()); })
                  .impl_) {}

  // An observer from three callables (each may be a no-op).
  template <class OnNext, class OnError, class OnCompleted>
  static AnyObserver make(OnNext onNext, OnError onError, OnCompleted onCompleted) {
    return AnyObserver(std::make_shared<detail::LambdaObserver<T, OnNext, OnError, OnCompleted>>(
        std::move(onNext), std::move(onError), std::move(onCompleted)));
  }

  void onNext(const T& element) const {
    if (impl_) impl_->onNext(element);
  }
  void onError(std::exception_ptr error) const {
    if (impl_) impl_->onError(error);
  }
  void onCompleted() const {
    if (impl_) impl_->onCompleted();
  }
  void on(const Event<T>& event) const {
    switch (event.kind) {
      case Event<T>::Kind::next:
        onNext(*event.element);
        break;
      case Event<T>::Kind::error:
        onError(event.error);
        break;
      case Event<T>::Kind::completed:
        onCompleted();
        break;
    }
  }
  const AnyObserver& asObserver() const noexcept { return *this; }

 private:
  std::shared_ptr<ObserverBase<T>> impl_;
};

}  // namespace zorlan::rx
