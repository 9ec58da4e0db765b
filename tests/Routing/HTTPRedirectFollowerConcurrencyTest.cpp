// Short links over real HTTP: a loopback server serves chains of redirects;
// the follower (a transfer thread of its own) completes exactly once, on the
// main queue, in every ending. Part of the ThreadSanitizer suite.
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "zorlan/Dispatch/MainRunLoop.hpp"
#include "zorlan/Routing/HTTPRedirectFollower.hpp"
#include "zorlan/Routing/URLRouter.hpp"
#include "zorlan/Rx/DisposeBag.hpp"

namespace zorlan {
namespace {

using namespace std::chrono_literals;

// Answers each path with a status and one header (a 200 also with a body
// of 1 MiB, which the follower never reads).
class LoopbackServer {
 public:
  LoopbackServer() {
    port = server_.bind_to_any_port("127.0.0.1");
    const struct {
      const char* path;
      int status;
      const char* header;
      std::string value;
    } replies[] = {
        {"/s1", 301, "Location", url("/s2")},
        {"/s2", 302, "Location", "/s3"},  // relative: resolved against /s2
        {"/s3", 302, "Location", "myapp://show/42"},
        {"/missing", 302, "", ""},
        {"/unparsable", 302, "Location", "myapp://show/ 42"},
        {"/loop", 302, "Location", "/loop"},
        {"/final", 200, "", ""},
        {"/located", 200, "Location", "myapp://show/7"},
        {"/lower", 200, "location", "myapp://show/7"},
    };
    for (const auto& reply : replies) {
      server_.Get(reply.path, [this, reply](const httplib::Request&, httplib::Response& r) {
        ++hits;
        r.status = reply.status;
        if (*reply.header) r.set_header(reply.header, reply.value);
        if (reply.status == 200) r.set_content(std::string(1 << 20, 'x'), "text/plain");
      });
    }
    server_.Get("/huge", [](const httplib::Request&, httplib::Response& r) {
      for (int i = 0; i < 2000; ++i)
        r.set_header("X-Filler-" + std::to_string(i), std::string(40, 'f'));
      r.set_header("Location", "myapp://show/9");  // after more header bytes than allowed
    });
    thread_ = std::thread([this] { server_.listen_after_bind(); });
  }
  ~LoopbackServer() {
    server_.stop();
    thread_.join();
  }
  std::string url(const char* path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
  }

  int port = 0;
  std::atomic<int> hits{0};

 private:
  httplib::Server server_;
  std::thread thread_;
};

// A socket that accepts connections in the kernel but never answers.
struct SilentSocket {
  SilentSocket() {
    fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(fd, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(fd, 4);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
  }
  ~SilentSocket() { ::close(fd); }
  int fd = -1;
  int port = 0;
};

// Stops at (and records) every redirect whose target has the scheme "myapp".
struct StopAtApp : RedirectDelegate {
  std::optional<URLRequest> handleRedirect(std::optional<URLRequest> request) override {
    std::lock_guard lock(mutex);
    if (!request || !request->url) return std::nullopt;
    asked.emplace_back(request->url->absoluteString());
    if (request->url->scheme() == "myapp") return std::nullopt;
    return request;
  }
  std::mutex mutex;
  std::vector<std::string> asked;
};

struct Outcome {
  int calls = 0;
  bool onMainThread = true;
  std::optional<std::string> target;
};

// Follows `link` and runs the main queue until the completion came (and a
// little after, to catch a second call).
Outcome resolve(HTTPRedirectFollower& follower, const std::string& link) {
  Outcome outcome;
  const auto mainThread = std::this_thread::get_id();
  follower.follow(*URL::fromString(link), [&](std::optional<URL> target) {
    ++outcome.calls;
    outcome.onMainThread = outcome.onMainThread && std::this_thread::get_id() == mainThread;
    if (target) outcome.target = std::string(target->absoluteString());
  });
  for (int i = 0; i < 2000 && outcome.calls == 0; ++i) MainRunLoop::runFor(10ms);
  MainRunLoop::runFor(20ms);
  return outcome;
}

HTTPRedirectFollower::Options quick() {
  HTTPRedirectFollower::Options options;
  options.totalTimeout = 500ms;
  options.connectTimeout = 500ms;
  options.maxRedirects = 3;
  return options;
}

TEST(HTTPRedirectFollower, EndsWithTheLocationOfTheResponseThatEndsTheChain) {
  LoopbackServer server;
  auto delegate = std::make_shared<StopAtApp>();
  const struct {
    const char* path;
    bool withDelegate;
    std::optional<std::string> target;
    int requests;  // redirect hops served (-1: not counted)
  } cases[] = {
      {"/s1", true, "myapp://show/42", 3},  // 301, 302 (relative), 302 stopped by the delegate
      {"/s1", false, std::nullopt, 3},      // followed into a scheme HTTP cannot load
      {"/located", false, "myapp://show/7", -1},  // not a redirect, but it names a location
      {"/final", false, std::nullopt, -1},
      {"/lower", false, std::nullopt, -1},  // the key is "Location", spelled so
      {"/missing", true, std::nullopt, 1},
      {"/unparsable", true, std::nullopt, 1},
      {"/loop", true, std::nullopt, 4},  // the first request and three redirects, no more
      {"/nothing-here", true, std::nullopt, -1},
      {"/huge", false, std::nullopt, -1},
  };
  for (const auto& c : cases) {
    HTTPRedirectFollower follower(quick());
    if (c.withDelegate) follower.setRedirectDelegate(delegate);
    server.hits = 0;
    const Outcome outcome = resolve(follower, server.url(c.path));
    if (c.requests >= 0) {
      EXPECT_EQ(server.hits, c.requests) << c.path;
    }
    EXPECT_EQ(outcome.calls, 1) << c.path;
    EXPECT_TRUE(outcome.onMainThread) << c.path;
    EXPECT_EQ(outcome.target, c.target) << c.path;
  }
  EXPECT_EQ(delegate->asked[0], server.url("/s2"));
  EXPECT_EQ(delegate->asked[1], server.url("/s3"));
  EXPECT_EQ(delegate->asked[2], "myapp://show/42");
}

// Refused and silent servers end in absent, within the bounds or when the
// follower is destroyed first; either way exactly once.
TEST(HTTPRedirectFollower, CompletesOnceWhenNobodyAnswers) {
  SilentSocket silent;
  const int refusedPort = SilentSocket().port;  // closed again at once
  for (int port : {refusedPort, silent.port}) {
    HTTPRedirectFollower follower(quick());
    const Outcome outcome = resolve(follower, "http://127.0.0.1:" + std::to_string(port) + "/x");
    EXPECT_EQ(outcome.calls, 1) << port;
    EXPECT_TRUE(outcome.onMainThread);
    EXPECT_EQ(outcome.target, std::nullopt);
  }
  std::atomic<int> calls{0};
  {
    HTTPRedirectFollower follower;  // default bounds: far longer than this test
    for (int i = 0; i < 3; ++i) {
      follower.follow(*URL::fromString("http://127.0.0.1:" + std::to_string(silent.port)),
                      [&](std::optional<URL> target) { calls += target ? 100 : 1; });
    }
  }
  MainRunLoop::runUntilIdle();
  EXPECT_EQ(calls, 3);
}

// The last owner of a follower may let go of it on the transfer thread (a
// delegate that owns it, as a router does through its context).
TEST(HTTPRedirectFollower, MayBeReleasedByItsOwnDelegate) {
  struct Owner : RedirectDelegate {
    std::optional<URLRequest> handleRedirect(std::optional<URLRequest> request) override {
      follower.reset();
      return request;
    }
    std::shared_ptr<HTTPRedirectFollower> follower;
  };
  LoopbackServer server;
  auto owner = std::make_shared<Owner>();
  owner->follower = std::make_shared<HTTPRedirectFollower>(quick());
  owner->follower->setRedirectDelegate(owner);
  int calls = 0;
  owner->follower->follow(*URL::fromString(server.url("/s1")),
                          [&](std::optional<URL> target) { calls += target ? 100 : 1; });
  for (int i = 0; i < 2000 && calls == 0; ++i) MainRunLoop::runFor(10ms);
  MainRunLoop::runFor(20ms);
  EXPECT_EQ(calls, 1);
}

TEST(HTTPRedirectFollower, RoutesShortLinksThroughTheRouter) {
  LoopbackServer server;
  auto follower = std::make_shared<HTTPRedirectFollower>(quick());
  URLRouter router(RedirectContext({"${host}"}, "127.0.0.1", follower));
  std::vector<std::string> ids;
  rx::DisposeBag bag;
  router.observer(std::make_shared<URLRoute>("myapp://show/${id}"))
      .subscribe([&](const URLRouter::Match& m) { ids.push_back(m.variables.at("id")); })
      .disposed(bag);
  router.submit(*URL::fromString(server.url("/s1")));
  EXPECT_TRUE(ids.empty());  // resolved later, on the main queue
  for (int i = 0; i < 2000 && ids.empty(); ++i) MainRunLoop::runFor(10ms);
  EXPECT_EQ(ids, std::vector<std::string>{"42"});
  EXPECT_EQ(server.hits, 3);  // the app link itself was never requested
}

}  // namespace
}  // namespace zorlan
