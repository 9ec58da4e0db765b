// HTTPRedirectFollower: resolves short links over HTTP(S) with libcurl.
//
//   auto follower = std::make_shared<HTTPRedirectFollower>();
//   follower->follow(*URL::fromString("https://sho.rt/abc"), [](std::optional<URL> target) {
//     // on the main queue: the "Location" of the last redirect, or absent
//   });
//
// Each resolution sends a GET (HTTP/1.1, automatic redirects off). At a
// redirect response (a 3xx status with a "Location" header) the follower
// builds the request for the target (resolved against the current URL) and
// asks its `RedirectDelegate`, if it has one: a request returned is sent
// next; absent stops the chain. The response that ends the chain (the one
// the delegate stopped at, or the first that is not followed) gives the
// result: its "Location" header (this exact spelling: the key is compared
// case-sensitively) read as a URL (`URL::fromString`, so a relative
// reference is returned as it stands). No such header, a value that is not a
// URL, a failed transfer, a timeout, or more hops than allowed: absent.
//
// Bounds: a connect timeout per hop, a total time for the whole chain and a
// maximum number of redirects followed (see `Options`); 64 KiB of headers per
// hop (more fails the resolution); bodies are never read. The completion runs
// exactly once, on `Options::completionQueue` (the main queue by default),
// also when the follower is destroyed first (then with absent).
//
// Thread safety: `follow` and `setRedirectDelegate` may be called from any
// thread. Transfers run on one thread owned by the follower, which is also
// where the delegate is asked.
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "zorlan/Dispatch/DispatchQueue.hpp"
#include "zorlan/Routing/RedirectFollower.hpp"

namespace zorlan {

class HTTPRedirectFollower final : public RedirectFollower {
 public:
  struct Options {
    // Time allowed to connect, per hop.
    std::chrono::milliseconds connectTimeout{5000};
    // Time allowed for the whole chain, from `follow` to the last response.
    std::chrono::milliseconds totalTimeout{15000};
    // Redirects followed at most; one more redirect to follow gives absent.
    int maxRedirects = 10;
    // Where completions run.
    DispatchQueue completionQueue = DispatchQueue::main();
  };

  HTTPRedirectFollower();
  explicit HTTPRedirectFollower(Options options);
  // Stops the transfer thread; resolutions in flight complete with absent.
  ~HTTPRedirectFollower() override;
  HTTPRedirectFollower(const HTTPRedirectFollower&) = delete;
  HTTPRedirectFollower& operator=(const HTTPRedirectFollower&) = delete;

  // The delegate asked before each redirect; held weakly (a delegate that is
  // gone is not asked and every redirect is followed).
  void setRedirectDelegate(std::weak_ptr<RedirectDelegate> delegate);

  void follow(const URL& url, Completion completion) override;

 private:
  struct Engine;
  std::shared_ptr<Engine> engine_;
};

}  // namespace zorlan
