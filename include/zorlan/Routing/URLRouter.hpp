// URLRouter: hands deep links to the features that registered routes for
// them, resolving short links first.
//
//   URLRouter router(RedirectContext({"${host}"}, "sho.rt", follower));
//   auto show = std::make_shared<URLRoute>("myapp://show/${id}");
//   DisposeBag bag;
//   router.observer(show).subscribe([](const URLRouter::Match& m) {
//     open(m.variables.at("id"));
//   }).disposed(bag);
//   router.submit(*URL::fromString("myapp://show/42?from=push"));
//
// `submit` logs "[deeplink] URL: <url>" (debug, `Log::shared()`) and emits
// the URL on `urlObserver()`. A URL whose host equals one of the context's
// short-link hosts exactly ("${host}" replaced by the context's host; letter
// case counts, subdomains do not match) is resolved through the follower;
// its target, if any, is routed when the follower completes (for
// `HTTPRedirectFollower`: later, on the main queue); absent drops the link
// silently. Every other URL is routed at once, on the submitting thread:
// - it is emitted on `unwrappedUrl()` first, whether or not a route matches;
// - then, for every observer in registration order and every route of it in
//   order, a `Match` is emitted on that observer for each route that matches.
//   There is no winner: overlapping routes give one match each, and a URL
//   that matches nothing gives no match event.
// Matching sees the URL without its query and without one trailing "/" of
// its path (scheme, authority, path and fragment, still percent-encoded);
// captured values stay percent-encoded. `Match::url` is the URL as routed,
// query included.
//
// The router is also the `RedirectDelegate` of an `HTTPRedirectFollower`
// given in its context: a redirect whose target matches any registered route
// is not followed, so that target becomes the resolution's result.
//
// Handlers that throw: a handler that throws loses its subscription (as with
// any subject); the other observers still receive the URL and its matches,
// and the router keeps routing later links. The first exception then leaves
// `submit` (on the thread that routed the URL: a link submitted from inside
// a handler is routed, after the current one, by the outer `submit`). For a
// short link it leaves the follower's completion: `HTTPRedirectFollower`
// completes on the main queue, where work that throws stops the process, so
// handlers of short links must not throw.
//
// Lifetime and threads: observables stay valid for the router's life and
// never end; a subscriber sees the matches routed after it subscribed.
// Observers are never removed. A resolution in flight does not keep the
// router alive: a router destroyed meanwhile drops the resolved URL. Intended
// for the main thread; every operation is nevertheless safe from any thread
// (registering takes a lock; routing reads a snapshot of the registrations
// and holds no lock while it emits, so handlers may register or submit).
// Links are routed one at a time: a link submitted while another is being
// routed (from a handler or another thread) is routed right after it, by the
// thread routing, before that thread's `submit` returns.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "zorlan/Platform/URL.hpp"
#include "zorlan/Routing/RedirectFollower.hpp"
#include "zorlan/Routing/URLRoute.hpp"
#include "zorlan/Rx/Observable.hpp"

namespace zorlan {

class URLRouter {
 public:
  // One routed URL and the route it matched.
  struct Match {
    URL url;                                // as routed: query and fragment intact
    std::shared_ptr<const URLRoute> route;  // the route that matched
    URLRouteVariables variables;            // the route's fixed variables, overlaid
                                            // with the captured ones
  };

  explicit URLRouter(RedirectContext redirectContext);
  ~URLRouter();
  URLRouter(const URLRouter&) = delete;
  URLRouter& operator=(const URLRouter&) = delete;

  // Logs and routes `url` (see above).
  void submit(const URL& url);

  // Registers a new observer of `route` (or of `routes`, in order) and
  // returns its matches. Each call registers another observer. Null routes
  // are ignored.
  rx::Observable<Match> observer(std::shared_ptr<const URLRoute> route);
  rx::Observable<Match> observer(std::vector<std::shared_ptr<const URLRoute>> routes);

  // Every submitted URL, before short links are resolved.
  rx::Observable<URL> urlObserver() const;
  // Every URL that reaches routing (short links after resolution).
  rx::Observable<URL> unwrappedUrl() const;

  // The redirect decision: absent for an absent request, a request without a
  // URL, or one whose URL matches any registered route (the first match
  // ends the scan); otherwise `newRequest` unchanged. Safe on any thread.
  std::optional<URLRequest> handleRedirect(std::optional<URLRequest> newRequest) const;

  const RedirectContext& redirectContext() const noexcept;

  // The router's state, shared with resolutions in flight (weakly).
  struct State;

 private:
  std::shared_ptr<State> state_;
};

// The text a route matches for `url`: without query, one trailing "/" of
// the path dropped, otherwise as written. Absent when it cannot be formed.
std::optional<std::string> routingForm(const URL& url);

}  // namespace zorlan
