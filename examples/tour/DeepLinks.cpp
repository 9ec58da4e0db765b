// A stop of the tour about deep links: routes registered by two features, links
// routed to them, and a short link resolved over HTTP against a local server.
#include <httplib.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "Tour.hpp"
#include "zorlan/Dispatch/MainRunLoop.hpp"
#include "zorlan/Routing/HTTPRedirectFollower.hpp"
#include "zorlan/Routing/URLRouter.hpp"
#include "zorlan/Rx/DisposeBag.hpp"

namespace tour {

using namespace zorlan;

namespace {

std::string variablesText(const URLRouteVariables& variables) {
  std::string out;
  for (const auto& [name, value] : variables) out += " " + name + "=" + value;
  return out.empty() ? " (no variables)" : out;
}

}  // namespace

void deepLinks() {
  heading("Deep links routed to two features, and a short link");
  // A short-link service on the loopback address: /s/abc redirects twice,
  // the second time into the app.
  httplib::Server shortener;
  const int port = shortener.bind_to_any_port("127.0.0.1");
  shortener.Get("/s/abc", [](const httplib::Request&, httplib::Response& r) {
    r.status = 301;
    r.set_header("Location", "/r/abc");
  });
  shortener.Get("/r/abc", [](const httplib::Request&, httplib::Response& r) {
    r.status = 302;
    r.set_header("Location", "zorlan://play/8812?autoplay=true");
  });
  std::thread serving([&] { shortener.listen_after_bind(); });

  {
    // Links on the local server's host are short links.
    URLRouter router(
        RedirectContext({"${host}"}, "127.0.0.1", std::make_shared<HTTPRedirectFollower>()));
    rx::DisposeBag bag;
    int matches = 0;
    router
        .observer({std::make_shared<URLRoute>("zorlan://show/${showId}"),
                   std::make_shared<URLRoute>("zorlan://show/${showId}/season/${season:[0-9]+}")})
        .subscribe([&](const URLRouter::Match& m) {
          ++matches;
          std::cout << "  details screen: " << m.route->stringValue() << " ->"
                    << variablesText(m.variables) << "\n";
        })
        .disposed(bag);
    int played = 0;
    router
        .observer({std::make_shared<URLRoute>("zorlan://play/${contentId}"),
                   std::make_shared<URLRoute>("https://www.zorlan.tv/watch/${contentId}",
                                              URLRouteVariables{{"origin", "web"}})})
        .subscribe([&](const URLRouter::Match& m) {
          ++played;
          ++matches;
          std::cout << "  player: " << m.url.absoluteString() << " ->" << variablesText(m.variables)
                    << "\n";
        })
        .disposed(bag);

    for (const char* link :
         {"zorlan://show/the-expanse?from=push", "zorlan://SHOW/the-expanse/season/2/",
          "https://www.zorlan.tv/watch/8812", "zorlan://settings/unknown"}) {
      std::cout << "submit " << link << "\n";
      const int before = matches;
      router.submit(*URL::fromString(link));
      if (matches == before) std::cout << "  no route matches: nothing is delivered\n";
    }
    const std::string shortLink = "http://127.0.0.1:" + std::to_string(port) + "/s/abc";
    std::cout << "submit " << shortLink << " (resolved on the network, routed on the main queue)\n";
    router.submit(*URL::fromString(shortLink));
    for (int i = 0; i < 500 && played < 2; ++i) MainRunLoop::runFor(std::chrono::milliseconds(10));
  }
  shortener.stop();
  serving.join();
}

}  // namespace tour
