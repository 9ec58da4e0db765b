// The router: logging, routing to every matching route, short links through a
// follower, the redirect decision.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "support/LogCapture.hpp"
#include "zorlan/Routing/URLRouter.hpp"
#include "zorlan/Rx/DisposeBag.hpp"

namespace zorlan {
namespace {

URL url(const char* text) { return *URL::fromString(text); }

// Records what it is asked to follow; the test answers later.
struct ScriptedFollower : RedirectFollower {
  void follow(const URL& link, Completion completion) override {
    asked.push_back(std::string(link.absoluteString()));
    pending.push_back(std::move(completion));
  }
  std::vector<std::string> asked;
  std::vector<Completion> pending;
};

struct Recorded {
  std::vector<std::string> matches;  // "<observer>:<pattern>:<url>:<k=v,...>"
  std::vector<std::string> unwrapped;
  std::vector<std::string> submitted;
};

class URLRouterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    router.urlObserver()
        .subscribe([this](const URL& u) { seen.submitted.emplace_back(u.absoluteString()); })
        .disposed(bag);
    router.unwrappedUrl()
        .subscribe([this](const URL& u) { seen.unwrapped.emplace_back(u.absoluteString()); })
        .disposed(bag);
  }
  void observe(const std::string& name, std::vector<std::shared_ptr<const URLRoute>> routes) {
    router.observer(std::move(routes))
        .subscribe([this, name](const URLRouter::Match& m) {
          std::string entry =
              name + ":" + m.route->stringValue() + ":" + std::string(m.url.absoluteString()) + ":";
          for (const auto& [k, v] : m.variables) entry += k + "=" + v + ",";
          seen.matches.push_back(entry);
        })
        .disposed(bag);
  }

  std::shared_ptr<ScriptedFollower> follower = std::make_shared<ScriptedFollower>();
  URLRouter router{RedirectContext({"${host}", "go.${host}", "fixed.tv"}, "sho.rt", follower)};
  Recorded seen;
  rx::DisposeBag bag;
};

TEST_F(URLRouterTest, LogsEmitsAndRoutesWithNoObservers) {
  testing::LogCapture log;
  router.submit(url("myapp://show/1"));
  const auto events = log.events();
  ASSERT_EQ(events.size(), 1u);
  EXPECT_EQ(events[0].message, "[deeplink] URL: myapp://show/1");
  EXPECT_EQ(events[0].level, LoggerLevel::debug);
  EXPECT_EQ(events[0].file, "URL Router/URLRouter");
  EXPECT_EQ(events[0].function, "submit(url:)");
  EXPECT_EQ(seen.submitted, std::vector<std::string>{"myapp://show/1"});
  EXPECT_EQ(seen.unwrapped, std::vector<std::string>{"myapp://show/1"});
  EXPECT_TRUE(seen.matches.empty());
}

TEST_F(URLRouterTest, EveryMatchingRouteOfEveryObserverGetsTheURLInOrder) {
  auto byId = std::make_shared<URLRoute>("myapp://a/${id}",
                                         URLRouteVariables{{"id", "fixed"}, {"tab", "info"}});
  auto any = std::make_shared<URLRoute>("myapp://a/*");
  auto other = std::make_shared<URLRoute>("myapp://b/${id}");
  observe("one", {byId, other, any});
  observe("two", {byId});
  router.submit(
      url("myapp://a/7/?from=push#top"));  // query ignored, one "/" dropped; the fragment stays
  router.submit(url("myapp://c/1"));       // no match at all
  EXPECT_EQ(seen.matches, (std::vector<std::string>{
                              "one:myapp://a/${id}:myapp://a/7/?from=push#top:id=7#top,tab=info,",
                              "one:myapp://a/*:myapp://a/7/?from=push#top:",
                              "two:myapp://a/${id}:myapp://a/7/?from=push#top:id=7#top,tab=info,",
                          }));
  EXPECT_EQ(seen.unwrapped,
            (std::vector<std::string>{"myapp://a/7/?from=push#top", "myapp://c/1"}));
}

TEST_F(URLRouterTest, MatchesTheFormWithoutQueryAndOneTrailingSlash) {
  const struct {
    const char* url;
    const char* form;
  } cases[] = {
      {"myapp://a/7/?x=1#f", "myapp://a/7#f"},
      {"https://h.tv//", "https://h.tv/"},
      {"https://user@h.tv:8080/a%20b/?", "https://user@h.tv:8080/a%20b"},
      {"myapp:show/1/", "myapp:show/1"},
      {"/relative/", "/relative"},
  };
  for (const auto& c : cases) EXPECT_EQ(routingForm(url(c.url)), c.form) << c.url;
}

TEST_F(URLRouterTest, ShortLinksOnTheRedirectHostsGoThroughTheFollower) {
  observe("one", {std::make_shared<URLRoute>("myapp://show/${id}")});
  router.submit(url("https://sho.rt/abc"));
  router.submit(url("https://go.sho.rt/def"));
  router.submit(url("https://fixed.tv/ghi"));
  router.submit(url("https://SHO.rt/direct"));      // letter case counts
  router.submit(url("https://www.sho.rt/direct"));  // a subdomain is not the host
  EXPECT_EQ(follower->asked,
            (std::vector<std::string>{"https://sho.rt/abc", "https://go.sho.rt/def",
                                      "https://fixed.tv/ghi"}));
  EXPECT_EQ(seen.unwrapped,
            (std::vector<std::string>{"https://SHO.rt/direct", "https://www.sho.rt/direct"}));

  follower->pending[0](url("myapp://show/42"));
  follower->pending[1](std::nullopt);  // dropped silently
  EXPECT_EQ(seen.matches,
            std::vector<std::string>{"one:myapp://show/${id}:myapp://show/42:id=42,"});
  EXPECT_EQ(seen.unwrapped.back(), "myapp://show/42");
  EXPECT_EQ(seen.unwrapped.size(), 3u);
  EXPECT_EQ(seen.submitted.size(), 5u);
}

TEST(URLRouter, ResolutionsOutliveTheRouterHarmlessly) {
  auto follower = std::make_shared<ScriptedFollower>();
  int routed = 0;
  {
    URLRouter router(RedirectContext({"sho.rt"}, "", follower));
    router.unwrappedUrl().subscribe([&](const URL&) { ++routed; });
    router.submit(url("https://sho.rt/x"));
  }
  ASSERT_EQ(follower->pending.size(), 1u);
  follower->pending[0](url("myapp://show/1"));
  EXPECT_EQ(routed, 0);
}

TEST_F(URLRouterTest, RedirectsToRoutedURLsAreNotFollowed) {
  observe("one", {std::make_shared<URLRoute>("https://h.tv/other"),
                  std::make_shared<URLRoute>("myapp://show/${id}")});
  EXPECT_EQ(router.handleRedirect(std::nullopt), std::nullopt);
  EXPECT_EQ(router.handleRedirect(URLRequest{}), std::nullopt);
  EXPECT_EQ(router.handleRedirect(URLRequest{url("myapp://show/9/?a=b")}), std::nullopt);
  const auto passed = router.handleRedirect(URLRequest{url("https://h.tv/next")});
  ASSERT_TRUE(passed && passed->url);
  EXPECT_EQ(passed->url->absoluteString(), "https://h.tv/next");
}

// Handlers may register observers and submit more links while a link is
// being routed: nothing deadlocks, and a new observer sees only later links.
TEST_F(URLRouterTest, HandlersMayRegisterAndSubmit) {
  auto route = std::make_shared<URLRoute>("myapp://a/${id}");
  int late = 0;
  router.observer(route)
      .subscribe([&](const URLRouter::Match& m) {
        if (m.variables.at("id") != "1") return;
        router.observer(route).subscribe([&](const URLRouter::Match&) { ++late; }).disposed(bag);
        router.submit(url("myapp://a/2"));
      })
      .disposed(bag);
  router.submit(url("myapp://a/1"));
  EXPECT_EQ(late, 1);
  EXPECT_EQ(seen.unwrapped, (std::vector<std::string>{"myapp://a/1", "myapp://a/2"}));
}

// A handler that throws loses its subscription; the others still get the
// link, the exception reaches the caller of submit, and routing goes on.
TEST_F(URLRouterTest, AThrowingHandlerDoesNotStopRouting) {
  auto route = std::make_shared<URLRoute>("myapp://a/${id}");
  int thrown = 0;
  router.observer(route)
      .subscribe([&](const URLRouter::Match&) {
        ++thrown;
        throw std::runtime_error("feature bug");
      })
      .disposed(bag);
  observe("steady", {route});
  EXPECT_THROW(router.submit(url("myapp://a/1")), std::runtime_error);
  EXPECT_NO_THROW(router.submit(url("myapp://a/2")));
  EXPECT_EQ(thrown, 1);
  EXPECT_EQ(seen.matches.size(), 2u);
  EXPECT_EQ(seen.submitted.size(), 2u);
}

}  // namespace
}  // namespace zorlan
