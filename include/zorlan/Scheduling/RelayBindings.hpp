// Relay bindings: observers that feed relays and never terminate them, and a
// lifecycle logging operator for sequences.
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Platform/Logger.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Scheduling/detail/RelayBindingReport.hpp"

namespace zorlan {

namespace detail {
// Writes "<message> -> <suffix>" at info level through `logger`.
void logLifecycle(Logger& logger, std::string_view sender, const std::string& message,
                  std::string_view suffix, const SourceLocation& where);
}  // namespace detail

// An observer that accepts each element into `relay`. An error or a
// completion is written as an error line to `Logger::shared()` and otherwise
// ignored: the relay stays usable.
template <class T>
rx::AnyObserver<T> asObserver(const rx::BehaviorRelay<T>& relay) {
  return rx::AnyObserver<T>::make(
      [relay](const T& v) { relay.accept(v); },
      [](std::exception_ptr e) { detail::reportRelayBindingEvent("BehaviorRelay", e); },
      [] { detail::reportRelayBindingEvent("BehaviorRelay", nullptr); });
}
template <class T>
rx::AnyObserver<T> asObserver(const rx::PublishRelay<T>& relay) {
  return rx::AnyObserver<T>::make(
      [relay](const T& v) { relay.accept(v); },
      [](std::exception_ptr e) { detail::reportRelayBindingEvent("PublishRelay", e); },
      [] { detail::reportRelayBindingEvent("PublishRelay", nullptr); });
}

// The same sequence, writing `message` + " -> subscribed" when subscribed and
// `message` + " -> disposing" when the subscription ends, at info level of
// `logger`, with the caller's location. Events are forwarded unchanged.
template <class T>
rx::Observable<T> log(const rx::Observable<T>& source, std::string_view sender, std::string message,
                      Logger& logger = Logger::shared(),
                      SourceLocation where = SourceLocation::current()) {
  std::string who(sender);
  return source.doOn(
      {.onSubscribe = [&logger, who, message,
                       where] { detail::logLifecycle(logger, who, message, "subscribed", where); },
       .onDispose = [&logger, who, message,
                     where] { detail::logLifecycle(logger, who, message, "disposing", where); }});
}
template <class T>
rx::Single<T> log(const rx::Single<T>& source, std::string_view sender, std::string message,
                  Logger& logger = Logger::shared(),
                  SourceLocation where = SourceLocation::current()) {
  return rx::Single<T>::fromObservableUnchecked(
      log(source.asObservable(), sender, std::move(message), logger, where));
}
inline rx::Completable log(const rx::Completable& source, std::string_view sender,
                           std::string message, Logger& logger = Logger::shared(),
                           SourceLocation where = SourceLocation::current()) {
  return rx::Completable::fromObservableUnchecked(
      log(source.asObservable(), sender, std::move(message), logger, where));
}

}  // namespace zorlan
