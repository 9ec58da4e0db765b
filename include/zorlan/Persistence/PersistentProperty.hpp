// PersistentProperty<T>: one stored setting as a typed, observable value:
// reading gives the stored value or a (possibly changing) default, writing
// stores the new value and announces the change first.
//
//   auto store = std::make_shared<DefaultsStore>(Defaults::open("player", dir));
//   PersistentProperty<bool> autoplay(PersistentKey<bool>("autoplay"), true, store);
//   autoplay.setValue(false);                 // objectWillChange fires, then the store is written
//   bool on = autoplay.value();               // false
//   autoplay.asObservable().subscribe(...);   // the value now, then every change
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "zorlan/Base/Precondition.hpp"
#include "zorlan/Persistence/PersistentStore.hpp"
#include "zorlan/Rx/Binder.hpp"
#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/BehaviorReader.hpp"
#include "zorlan/Values/Either.hpp"

namespace zorlan {

// A handle on one setting: copies share the setting, its announcements and
// its reactive view (the object lives as long as its last copy, or a
// subscription to its views). Thread safety: that of the store and the
// default reader; `rx()` is created once, safely, on first use.
//
// Keys: a String key or a PersistentKey<T>; they behave alike, except as
// the store treats them (a core value written under a String key is kept as
// JSON bytes, and reading a core type reads native values only: keep core
// settings under a PersistentKey).
template <Persistable T>
class PersistentProperty {
 public:
  using Identifier = Either<std::string, PersistentKey<T>>;

  // The two-way reactive view: `value` emits the value (stored, else the
  // default) when subscribed and after every change of either, and writes
  // what it is given through setValue (on the main scheduler, as binders do).
  struct Reactive {
    rx::ControlProperty<T> value;
  };

  PersistentProperty(std::string key, T defaultValue, std::shared_ptr<PersistentStore> store)
      : PersistentProperty(Identifier::left(std::move(key)),
                           BehaviorReader<T>::just(std::move(defaultValue)), std::move(store)) {}
  PersistentProperty(std::string key, BehaviorReader<T> defaultValue,
                     std::shared_ptr<PersistentStore> store)
      : PersistentProperty(Identifier::left(std::move(key)), std::move(defaultValue),
                           std::move(store)) {}
  PersistentProperty(PersistentKey<T> key, T defaultValue, std::shared_ptr<PersistentStore> store)
      : PersistentProperty(Identifier::right(std::move(key)),
                           BehaviorReader<T>::just(std::move(defaultValue)), std::move(store)) {}
  PersistentProperty(PersistentKey<T> key, BehaviorReader<T> defaultValue,
                     std::shared_ptr<PersistentStore> store)
      : PersistentProperty(Identifier::right(std::move(key)), std::move(defaultValue),
                           std::move(store)) {}
  // For an optional T: the default is the empty optional.
  PersistentProperty(std::string key, std::shared_ptr<PersistentStore> store) requires
      detail::IsOptional<T>::value : PersistentProperty(std::move(key), T(), std::move(store)) {}
  PersistentProperty(PersistentKey<T> key, std::shared_ptr<PersistentStore> store) requires
      detail::IsOptional<T>::value : PersistentProperty(std::move(key), T(), std::move(store)) {}

  const Identifier& identifier() const noexcept { return state_->identifier; }
  const BehaviorReader<T>& defaultValue() const noexcept { return state_->defaultValue; }
  const std::shared_ptr<PersistentStore>& store() const noexcept { return state_->store; }

  // The stored value, or the default's present value when the store holds
  // none (the default is never written back).
  T value() const { return state_->read(); }
  // Sends on objectWillChange, then writes `newValue` to the store (no
  // lifetime).
  void setValue(const T& newValue) const { state_->write(newValue); }
  void accept(const T& newValue) const { setValue(newValue); }

  // An element before every write, on the writing thread.
  rx::Observable<std::monostate> objectWillChange() const {
    return state_->willChange.asObservable();
  }

  // The reactive view, made on first use and kept.
  const Reactive& rx() const {
    std::call_once(state_->reactiveOnce, [this] { state_->makeReactive(state_); });
    return *state_->reactive;
  }
  // The observable side of rx().value.
  rx::Observable<T> asObservable() const { return rx().value.asObservable(); }
  // A reader fed by asObservable(), starting at value().
  BehaviorReader<T> asBehaviorReader() const { return BehaviorReader<T>(asObservable(), value()); }

 private:
  struct State {
    State(Identifier key, BehaviorReader<T> fallback, std::shared_ptr<PersistentStore> holder)
        : identifier(std::move(key)), defaultValue(std::move(fallback)), store(std::move(holder)) {}

    Identifier identifier;
    BehaviorReader<T> defaultValue;
    std::shared_ptr<PersistentStore> store;
    rx::PublishRelay<std::monostate> willChange;
    std::once_flag reactiveOnce;
    std::optional<Reactive> reactive;

    std::optional<T> stored() const {
      if (const std::string* key = identifier.leftValue()) return store->template get<T>(*key);
      return store->get(*identifier.rightValue());
    }
    T read() const {
      if (std::optional<T> v = stored()) return std::move(*v);
      return defaultValue.value();
    }
    void write(const T& newValue) {
      willChange.accept(std::monostate());
      if (const std::string* key = identifier.leftValue()) {
        store->set(std::string_view(*key), newValue);
      } else {
        store->set(*identifier.rightValue(), newValue);
      }
    }
    void makeReactive(const std::shared_ptr<State>& self) {
      rx::Observable<std::optional<T>> fromStore =
          identifier.leftValue() ? store->template observe<T>(*identifier.leftValue())
                                 : store->observe(*identifier.rightValue());
      rx::Observable<T> values = rx::Observable<T>::combineLatest(
          std::move(fromStore), defaultValue.asObservable(),
          [](const std::optional<T>& s, const T& fallback) { return s ? *s : fallback; });
      rx::Binder<T> binder(self, [](State& state, const T& v) { state.write(v); });
      reactive.emplace(Reactive{rx::ControlProperty<T>(std::move(values), binder.asObserver())});
    }
  };

  PersistentProperty(Identifier identifier, BehaviorReader<T> defaultValue,
                     std::shared_ptr<PersistentStore> store)
      : state_(std::make_shared<State>(std::move(identifier), std::move(defaultValue),
                                       std::move(store))) {
    ZORLAN_PRECONDITION(state_->store != nullptr, "PersistentProperty needs a store");
  }

  std::shared_ptr<State> state_;
};

// Binds `control` and `property` both ways and returns the binding: the
// property's value goes to the control first (the stored setting wins when
// the binding starts), then every value of the control that differs from
// the property's present value is written to the property, and every change
// of the property reaches the control. Dispose the result to unbind.
template <class T>
rx::Disposable synchronize(const rx::ControlProperty<T>& control, const PersistentProperty<T>& property) {
  auto toControl = property.asObservable().bindTo(control);
  auto toProperty = control.asObservable()
                        .filter([property](const T& v) { return !(v == property.value()); })
                        .subscribe([property](const T& v) { property.setValue(v); });
  return rx::Disposable::create([toControl, toProperty]() mutable {
    toControl.dispose();
    toProperty.dispose();
  });
}

}  // namespace zorlan
