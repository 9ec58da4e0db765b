// NotificationCenter: broadcasts notifications by name to whoever observes
// them, synchronously on the posting thread.
//
//   NotificationCenter& center = NotificationCenter::defaultCenter();
//   const NotificationName watchlistUpdated{"Watchlist:Updated"};
//   NotificationCenter::Observation observation = center.addObserver(
//       watchlistUpdated, [](const Notification& n) { reload(); });
//   center.post(watchlistUpdated);          // reload() runs here, on this thread
//   observation.remove();                   // or let it go out of scope
//
// Thread safety: every member may be called from any thread, including from
// inside an observer's handler (adding, removing, posting). Observers are
// called in the order they were added. Once `remove()` (or the observation's
// destructor) returns, the observer is not called again, not even by a post
// already running on another thread: removal waits for such a call to
// finish. Two exceptions keep removal from hanging: an observer removing
// itself from its own handler, and a removal made from inside any handler,
// do not wait for the removed observer's calls on other threads (later posts
// skip it all the same). Do not remove an observer while holding a lock its
// handler takes.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "zorlan/Platform/Notification.hpp"

namespace zorlan {

namespace rx {
template <class T>
class Observable;  // include zorlan/Rx/Observable.hpp to use `notifications`
}  // namespace rx

namespace detail {
struct NotificationCenterState;
struct NotificationObserverRecord;
}  // namespace detail

class NotificationCenter {
 public:
  using Handler = std::function<void(const Notification&)>;

  // Keeps an observer registered; removes it when destroyed. Move-only.
  class [[nodiscard]] Observation {
   public:
    Observation() noexcept = default;
    Observation(Observation&& other) noexcept = default;
    Observation& operator=(Observation&& other) noexcept;
    ~Observation() { remove(); }

    // Removes the observer (see the class comment for when this waits).
    // Idempotent; does nothing on an empty observation or once the centre is
    // gone.
    void remove() noexcept;
    // True while the observation holds an observer that was not removed.
    explicit operator bool() const noexcept { return static_cast<bool>(record_); }

   private:
    friend class NotificationCenter;
    Observation(std::weak_ptr<detail::NotificationCenterState> center,
                std::shared_ptr<detail::NotificationObserverRecord> record) noexcept
        : center_(std::move(center)), record_(std::move(record)) {}
    std::weak_ptr<detail::NotificationCenterState> center_;
    std::shared_ptr<detail::NotificationObserverRecord> record_;
  };

  NotificationCenter();
  ~NotificationCenter();
  NotificationCenter(const NotificationCenter&) = delete;
  NotificationCenter& operator=(const NotificationCenter&) = delete;

  // The process's shared centre. It is never destroyed, so it may be used
  // from static destructors.
  static NotificationCenter& defaultCenter();

  // Calls `handler` for every notification named `name` (any name when
  // absent) whose sender is `sender` (any sender when null). O(observers of
  // the centre) per call; posts are not slowed by other names' observers.
  Observation addObserver(std::optional<NotificationName> name, const void* sender,
                          Handler handler);
  Observation addObserver(NotificationName name, Handler handler) {
    return addObserver(name, nullptr, std::move(handler));
  }

  // Delivers `notification` to its observers, one after the other on this
  // thread, and returns when all have run. When handlers throw, every
  // observer is still called and the first exception is rethrown afterwards.
  // Posts take a lock only to copy a pointer to the observer table, never
  // while calling handlers. O(observers of the name).
  void post(const Notification& notification);
  void post(NotificationName name, const void* object = nullptr,
            std::shared_ptr<const UserInfo> userInfo = nullptr) {
    post(Notification(name, object, std::move(userInfo)));
  }

  // The notifications named `name` (from `sender` when not null) as a hot
  // sequence: each subscription adds an observer, disposing removes it. It
  // never completes.
  rx::Observable<Notification> notifications(NotificationName name, const void* sender = nullptr);

 private:
  std::shared_ptr<detail::NotificationCenterState> state_;
};

}  // namespace zorlan
