#include "zorlan/Rx/Disposable.hpp"

#include <atomic>
#include <mutex>
#include <utility>

#include "zorlan/Rx/DisposeBag.hpp"

namespace zorlan::rx {
namespace {

// Runs its action once, on the first dispose.
class AnonymousDisposable final : public DisposableBase {
 public:
  explicit AnonymousDisposable(std::function<void()> action) : action_(std::move(action)) {}

  void dispose() override {
    if (disposed_.exchange(true, std::memory_order_acq_rel)) return;
    std::function<void()> action = std::move(action_);
    action_ = nullptr;
    if (action) action();
  }
  bool isDisposed() const override { return disposed_.load(std::memory_order_acquire); }

 private:
  std::atomic<bool> disposed_{false};
  std::function<void()> action_;
};

}  // namespace

Disposable Disposable::create(std::function<void()> onDispose) {
  return Disposable(std::make_shared<AnonymousDisposable>(std::move(onDispose)));
}

void Disposable::disposed(DisposeBag& bag) const { bag.insert(*this); }

DisposeBag::DisposeBag(DisposeBag&& other) noexcept : disposables_(other.takeAll()) {}

DisposeBag& DisposeBag::operator=(DisposeBag&& other) noexcept {
  if (this == &other) return *this;
  std::vector<Disposable> incoming = other.takeAll();
  std::vector<Disposable> outgoing;
  {
    std::lock_guard lock(mutex_);
    outgoing = std::exchange(disposables_, std::move(incoming));
  }
  for (const Disposable& d : outgoing) d.dispose();
  return *this;
}

DisposeBag::~DisposeBag() {
  for (const Disposable& d : takeAll()) d.dispose();
}

void DisposeBag::insert(Disposable disposable) {
  std::lock_guard lock(mutex_);
  disposables_.push_back(std::move(disposable));
}

std::size_t DisposeBag::size() const {
  std::lock_guard lock(mutex_);
  return disposables_.size();
}

std::vector<Disposable> DisposeBag::takeAll() noexcept {
  std::lock_guard lock(mutex_);
  return std::exchange(disposables_, {});
}

}  // namespace zorlan::rx
