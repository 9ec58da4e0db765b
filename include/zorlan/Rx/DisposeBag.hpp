// DisposeBag: owns disposables and disposes them all when it goes away.
#pragma once

#include <mutex>
#include <vector>

#include "zorlan/Rx/Disposable.hpp"

namespace zorlan::rx {

// Collects disposables and disposes them on destruction, in insertion order.
// Assigning a fresh bag (`bag = DisposeBag()`) disposes what the old one held.
// Thread-safe: inserts may come from any thread.
class DisposeBag {
 public:
  DisposeBag() = default;
  DisposeBag(const DisposeBag&) = delete;
  DisposeBag& operator=(const DisposeBag&) = delete;
  DisposeBag(DisposeBag&& other) noexcept;
  DisposeBag& operator=(DisposeBag&& other) noexcept;
  ~DisposeBag();

  // Adds `disposable`; it is disposed when the bag is.
  void insert(Disposable disposable);

  // Number of disposables held (for diagnostics and tests).
  std::size_t size() const;

 private:
  std::vector<Disposable> takeAll() noexcept;

  mutable std::mutex mutex_;
  std::vector<Disposable> disposables_;
};

}  // namespace zorlan::rx
