// Short links: the interfaces the router resolves them through.
//
// A `RedirectFollower` turns a short link into its target URL (over the
// network, for `HTTPRedirectFollower`). While it follows a chain of
// redirects it may ask a `RedirectDelegate` before each hop; the router is
// one, and stops the chain at the first hop whose target it can route, so
// that the target is reported instead of fetched. A `RedirectContext` tells
// the router which hosts serve short links and which follower resolves them.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zorlan/Platform/URL.hpp"

namespace zorlan {

// A request about to be sent: the URL a redirect leads to. A request may
// lack a URL (a delegate then normally refuses it).
struct URLRequest {
  std::optional<URL> url;
};

class RedirectDelegate {
 public:
  virtual ~RedirectDelegate() = default;
  // Asked before a redirect is followed, with the request for its target.
  // Returns the request to send (usually `newRequest` itself) or absent to
  // stop: the redirect response then ends the resolution. Called on the
  // follower's own thread; must not block for long.
  virtual std::optional<URLRequest> handleRedirect(std::optional<URLRequest> newRequest) = 0;
};

class RedirectFollower {
 public:
  using Completion = std::function<void(std::optional<URL>)>;

  virtual ~RedirectFollower() = default;
  // Resolves `url` and calls `completion` exactly once with the target URL,
  // or with absent when there is none. The completion may run later and on
  // another thread (each implementation says where).
  virtual void follow(const URL& url, Completion completion) = 0;
};

// Which links are short links and who resolves them. Immutable.
class RedirectContext {
 public:
  // `followRedirects`: host names whose links are resolved through
  // `redirectFollower`; an entry may hold "${host}", replaced by `host`.
  RedirectContext(std::vector<std::string> followRedirects, std::string host,
                  std::shared_ptr<RedirectFollower> redirectFollower)
      : followRedirects_(std::move(followRedirects)),
        host_(std::move(host)),
        redirectFollower_(std::move(redirectFollower)) {}

  const std::vector<std::string>& followRedirects() const noexcept { return followRedirects_; }
  const std::string& host() const noexcept { return host_; }
  // Held strongly; may be null, in which case no link is resolved (short
  // links are dropped).
  const std::shared_ptr<RedirectFollower>& redirectFollower() const noexcept {
    return redirectFollower_;
  }

 private:
  std::vector<std::string> followRedirects_;
  std::string host_;
  std::shared_ptr<RedirectFollower> redirectFollower_;
};

}  // namespace zorlan
