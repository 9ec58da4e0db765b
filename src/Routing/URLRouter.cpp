#include "zorlan/Routing/URLRouter.hpp"

#include <algorithm>
#include <exception>
#include <mutex>
#include <string>
#include <utility>

#include "zorlan/Base/SourceLocation.hpp"
#include "zorlan/Logging/Log.hpp"
#include "zorlan/Routing/HTTPRedirectFollower.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Subjects.hpp"

namespace zorlan {
namespace {

struct Observer {
  rx::PublishSubject<URLRouter::Match> subject;
  std::vector<std::shared_ptr<const URLRoute>> routes;
};
using Observers = std::vector<Observer>;

// The first exception a handler threw while this thread routed a submitted URL.
thread_local std::exception_ptr tRoutingFailure;

// "${host}" replaced by `host`, every occurrence.
std::string expanded(std::string entry, const std::string& host) {
  static constexpr std::string_view kPlaceholder = "${host}";
  for (std::size_t at = entry.find(kPlaceholder); at != std::string::npos;
       at = entry.find(kPlaceholder, at + host.size())) {
    entry.replace(at, kPlaceholder.size(), host);
  }
  return entry;
}

}  // namespace

struct URLRouter::State final : RedirectDelegate, std::enable_shared_from_this<State> {
  explicit State(RedirectContext redirectContext) : context(std::move(redirectContext)) {
    for (const std::string& entry : context.followRedirects()) {
      shortLinkHosts.push_back(expanded(entry, context.host()));
    }
  }

  // A snapshot of the registrations; replaced (never changed) on register.
  std::shared_ptr<const Observers> snapshot() const {
    std::lock_guard lock(mutex);
    return observers;
  }

  void received(const URL& url) {
    if (std::optional<std::string> host = url.host()) {
      if (std::find(shortLinkHosts.begin(), shortLinkHosts.end(), *host) != shortLinkHosts.end()) {
        const std::shared_ptr<RedirectFollower>& follower = context.redirectFollower();
        if (!follower) return;
        std::weak_ptr<State> weak = weak_from_this();
        follower->follow(url, [weak](std::optional<URL> target) {
          if (!target) return;
          if (std::shared_ptr<State> self = weak.lock()) self->route(*target);
        });
        return;
      }
    }
    route(url);
  }

  // Emits `url` on the unwrapped subject and a match on every observer of
  // every matching route. A handler that throws does not stop the others:
  // the first exception is rethrown once every emission is done.
  void route(const URL& url) const {
    std::exception_ptr failure;
    const auto emit = [&failure](const auto& subject, const auto& element) {
      try {
        subject.onNext(element);
      } catch (...) {
        if (!failure) failure = std::current_exception();
      }
    };
    emit(unwrapped, url);
    const std::shared_ptr<const Observers> registered = snapshot();
    const std::optional<std::string> form = registered->empty() ? std::nullopt : routingForm(url);
    if (form) {
      for (const Observer& observer : *registered) {
        for (const std::shared_ptr<const URLRoute>& route : observer.routes) {
          std::optional<URLRouteVariables> captured = route->matcher().match(*form);
          if (!captured) continue;
          URLRouteVariables variables = route->variables();
          for (auto& [name, value] : *captured) variables.insert_or_assign(name, std::move(value));
          emit(observer.subject, Match{url, route, std::move(variables)});
        }
      }
    }
    if (failure) std::rethrow_exception(failure);
  }

  std::optional<URLRequest> handleRedirect(std::optional<URLRequest> newRequest) override {
    if (!newRequest || !newRequest->url) return std::nullopt;
    const std::optional<std::string> form = routingForm(*newRequest->url);
    if (form) {
      const std::shared_ptr<const Observers> registered = snapshot();  // kept while scanned
      for (const Observer& observer : *registered) {
        for (const std::shared_ptr<const URLRoute>& route : observer.routes) {
          if (route->matcher().match(*form)) return std::nullopt;
        }
      }
    }
    return newRequest;
  }

  const RedirectContext context;
  std::vector<std::string> shortLinkHosts;  // the context's, "${host}" replaced
  rx::PublishSubject<URL> urls;
  rx::PublishSubject<URL> unwrapped;
  mutable std::mutex mutex;
  std::shared_ptr<const Observers> observers = std::make_shared<const Observers>();
  rx::DisposeBag bag;
};

URLRouter::URLRouter(RedirectContext redirectContext)
    : state_(std::make_shared<State>(std::move(redirectContext))) {
  if (auto http =
          std::dynamic_pointer_cast<HTTPRedirectFollower>(state_->context.redirectFollower())) {
    http->setRedirectDelegate(std::weak_ptr<RedirectDelegate>(state_));
  }
  // What a handler throws while a URL is routed is kept for the `submit` on
  // this thread, so that the router's own subscription never ends.
  std::weak_ptr<State> weak = state_;
  state_->bag.insert(state_->urls.asObservable().subscribe([weak](const URL& url) {
    std::shared_ptr<State> self = weak.lock();
    if (!self) return;
    try {
      self->received(url);
    } catch (...) {
      if (!tRoutingFailure) tRoutingFailure = std::current_exception();
    }
  }));
}

URLRouter::~URLRouter() = default;

void URLRouter::submit(const URL& url) {
  Log::shared().debug(*this, "[deeplink] URL: " + std::string(url.absoluteString()),
                      SourceLocation("URL Router/URLRouter", __LINE__, "submit(url:)"));
  state_->urls.onNext(url);
  if (std::exception_ptr failure = std::exchange(tRoutingFailure, nullptr)) {
    std::rethrow_exception(failure);
  }
}

rx::Observable<URLRouter::Match> URLRouter::observer(std::shared_ptr<const URLRoute> route) {
  std::vector<std::shared_ptr<const URLRoute>> routes;
  routes.push_back(std::move(route));
  return observer(std::move(routes));
}

rx::Observable<URLRouter::Match> URLRouter::observer(
    std::vector<std::shared_ptr<const URLRoute>> routes) {
  std::erase(routes, nullptr);
  rx::PublishSubject<Match> subject;
  std::lock_guard lock(state_->mutex);
  auto next = std::make_shared<Observers>(*state_->observers);
  next->push_back(Observer{subject, std::move(routes)});
  state_->observers = std::move(next);
  return subject.asObservable();
}

rx::Observable<URL> URLRouter::urlObserver() const { return state_->urls.asObservable(); }

rx::Observable<URL> URLRouter::unwrappedUrl() const { return state_->unwrapped.asObservable(); }

std::optional<URLRequest> URLRouter::handleRedirect(std::optional<URLRequest> newRequest) const {
  return state_->handleRedirect(std::move(newRequest));
}

const RedirectContext& URLRouter::redirectContext() const noexcept { return state_->context; }

std::optional<std::string> routingForm(const URL& url) {
  const boost::urls::url_view parts = url.components();
  std::string form;
  if (parts.has_scheme()) {
    form += parts.scheme();
    form += ':';
  }
  if (parts.has_authority()) {
    form += "//";
    form += parts.encoded_authority();
  }
  std::string_view path = parts.encoded_path();
  if (!path.empty() && path.back() == '/') path.remove_suffix(1);
  form += path;
  if (parts.has_fragment()) {
    form += '#';
    form += parts.encoded_fragment();
  }
  return form;
}

}  // namespace zorlan
