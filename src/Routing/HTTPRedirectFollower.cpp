#include "zorlan/Routing/HTTPRedirectFollower.hpp"

#include <curl/curl.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace zorlan {
namespace {

using Clock = std::chrono::steady_clock;

// Header bytes one hop may receive; a server sending more fails the hop.
constexpr std::size_t kMaxHeaderBytes = 64 * 1024;

void initializeCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

// One resolution: the hop in flight and what the chain has used so far.
struct Transfer {
  std::string url;
  RedirectFollower::Completion completion;
  Clock::time_point deadline;
  int redirects = 0;
  CURL* easy = nullptr;
  std::vector<std::pair<std::string, std::string>> headers;  // of the current response
  bool bodyRefused = false;     // the body is never read: the first byte of it ends the hop
  std::size_t headerBytes = 0;  // of the current hop, interim responses included

  ~Transfer() {
    if (easy) curl_easy_cleanup(easy);
  }
};

std::string_view trimmed(std::string_view text) {
  const auto space = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
  while (!text.empty() && space(text.front())) text.remove_prefix(1);
  while (!text.empty() && space(text.back())) text.remove_suffix(1);
  return text;
}

std::size_t onHeader(char* buffer, std::size_t size, std::size_t count, void* context) {
  auto* transfer = static_cast<Transfer*>(context);
  const std::string_view line(buffer, size * count);
  transfer->headerBytes += line.size();
  if (transfer->headerBytes > kMaxHeaderBytes) return 0;  // ends the transfer: a failure
  if (line.starts_with("HTTP/")) {
    transfer->headers.clear();  // a new response (after an interim 1xx one)
  } else if (const std::size_t colon = line.find(':'); colon != std::string_view::npos) {
    transfer->headers.emplace_back(std::string(line.substr(0, colon)),
                                   std::string(trimmed(line.substr(colon + 1))));
  }
  return size * count;
}

std::size_t onBody(char*, std::size_t, std::size_t, void* context) {
  static_cast<Transfer*>(context)->bodyRefused = true;
  return 0;  // stops the transfer: only the headers count
}

// The response's "Location" header, spelled exactly so, read as a URL.
std::optional<URL> locationOf(const Transfer& transfer) {
  for (const auto& [name, value] : transfer.headers) {
    if (name == "Location") return URL::fromString(value);
  }
  return std::nullopt;
}

}  // namespace

struct HTTPRedirectFollower::Engine {
  explicit Engine(Options o) : options(std::move(o)) {
    initializeCurlOnce();
    multi = curl_multi_init();
  }

  // The transfer thread holds the engine until it ends, so the follower may
  // be released on that thread (by a delegate or a completion queue running
  // there) without destroying what runs it.
  static void start(const std::shared_ptr<Engine>& engine) {
    engine->worker = std::thread([engine] { engine->run(); });
  }

  // Ends the transfer thread: in flight resolutions complete with absent.
  // Waits for it unless called on it.
  void stop() {
    {
      std::lock_guard lock(mutex);
      stopping = true;
    }
    if (multi) curl_multi_wakeup(multi);
    if (std::this_thread::get_id() == worker.get_id()) return;
    worker.join();
  }

  ~Engine() {
    if (worker.joinable()) worker.detach();  // only when released on the transfer thread itself
    if (multi) curl_multi_cleanup(multi);
  }

  void submit(std::unique_ptr<Transfer> transfer) {
    if (!multi) {  // libcurl could not start: nothing will ever run
      complete(*transfer, std::nullopt);
      return;
    }
    {
      std::lock_guard lock(mutex);
      incoming.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi);
  }

  void complete(Transfer& transfer, std::optional<URL> target) {
    options.completionQueue.async([completion = std::move(transfer.completion),
                                   target = std::move(target)] { completion(target); });
  }

  // Starts the transfer's current hop; false (and completed) when it cannot.
  bool start(Transfer& transfer) {
    const auto remaining =
        std::chrono::duration_cast<std::chrono::milliseconds>(transfer.deadline - Clock::now());
    if (remaining.count() <= 0) {
      complete(transfer, std::nullopt);
      return false;
    }
    if (!transfer.easy) transfer.easy = curl_easy_init();
    CURL* easy = transfer.easy;
    if (!easy) {
      complete(transfer, std::nullopt);
      return false;
    }
    transfer.headers.clear();
    transfer.headerBytes = 0;
    transfer.bodyRefused = false;
    curl_easy_setopt(easy, CURLOPT_URL, transfer.url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(std::min(options.connectTimeout, remaining).count()));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(remaining.count()));
    curl_easy_setopt(easy, CURLOPT_USERAGENT, "ZorlanFoundation");
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer);
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &transfer);
    if (curl_multi_add_handle(multi, easy) != CURLM_OK) {
      complete(transfer, std::nullopt);
      return false;
    }
    return true;
  }

  // A hop ended. Returns true when the transfer goes on with another hop.
  bool finished(Transfer& transfer, CURLcode result) {
    curl_multi_remove_handle(multi, transfer.easy);
    if (result != CURLE_OK && !(result == CURLE_WRITE_ERROR && transfer.bodyRefused)) {
      complete(transfer, std::nullopt);
      return false;
    }
    // A redirect whose target is not a URL is not one: the response ends the
    // chain like any other.
    char* redirect = nullptr;
    curl_easy_getinfo(transfer.easy, CURLINFO_REDIRECT_URL, &redirect);
    std::optional<URL> target = redirect ? URL::fromString(redirect) : std::nullopt;
    if (!target) {
      complete(transfer, locationOf(transfer));
      return false;
    }
    std::optional<URLRequest> next = URLRequest{std::move(target)};
    std::shared_ptr<RedirectDelegate> asked;
    {
      std::lock_guard lock(mutex);
      asked = delegate.lock();
    }
    if (asked) next = asked->handleRedirect(std::move(next));
    asked.reset();  // before completing: the completion may release the delegate's owner
    if (!next) {
      complete(transfer, locationOf(transfer));
      return false;
    }
    if (!next->url || transfer.redirects >= options.maxRedirects) {
      complete(transfer, std::nullopt);
      return false;
    }
    ++transfer.redirects;
    transfer.url = std::string(next->url->absoluteString());
    return start(transfer);
  }

  void run() {
    std::vector<std::unique_ptr<Transfer>> active;
    while (multi) {
      std::deque<std::unique_ptr<Transfer>> arrived;
      bool stop = false;
      {
        std::lock_guard lock(mutex);
        arrived.swap(incoming);
        stop = stopping;
      }
      for (auto& transfer : arrived) {
        if (stop) {
          complete(*transfer, std::nullopt);
        } else if (start(*transfer)) {
          active.push_back(std::move(transfer));
        }
      }
      if (stop) break;
      int running = 0;
      curl_multi_perform(multi, &running);
      int queued = 0;
      while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
        if (message->msg != CURLMSG_DONE) continue;
        Transfer* transfer = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
        const CURLcode result = message->data.result;
        if (!transfer || finished(*transfer, result)) continue;
        std::erase_if(active, [&](const auto& held) { return held.get() == transfer; });
      }
      curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    for (auto& transfer : active) {
      curl_multi_remove_handle(multi, transfer->easy);
      complete(*transfer, std::nullopt);
    }
    std::lock_guard lock(mutex);
    for (auto& transfer : incoming) complete(*transfer, std::nullopt);
    incoming.clear();
  }

  const Options options;
  CURLM* multi = nullptr;
  std::mutex mutex;
  bool stopping = false;
  std::deque<std::unique_ptr<Transfer>> incoming;
  std::weak_ptr<RedirectDelegate> delegate;
  std::thread worker;
};

HTTPRedirectFollower::HTTPRedirectFollower() : HTTPRedirectFollower(Options{}) {}

HTTPRedirectFollower::HTTPRedirectFollower(Options options)
    : engine_(std::make_shared<Engine>(std::move(options))) {
  Engine::start(engine_);
}

HTTPRedirectFollower::~HTTPRedirectFollower() { engine_->stop(); }

void HTTPRedirectFollower::setRedirectDelegate(std::weak_ptr<RedirectDelegate> delegate) {
  std::lock_guard lock(engine_->mutex);
  engine_->delegate = std::move(delegate);
}

void HTTPRedirectFollower::follow(const URL& url, Completion completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->url = std::string(url.absoluteString());
  transfer->completion = completion ? std::move(completion) : [](std::optional<URL>) {};
  transfer->deadline = Clock::now() + engine_->options.totalTimeout;
  engine_->submit(std::move(transfer));
}

}  // namespace zorlan
