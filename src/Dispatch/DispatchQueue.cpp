#include "zorlan/Dispatch/DispatchQueue.hpp"

#include <array>
#include <atomic>

#include "Base/HotPath.hpp"
#include "Dispatch/QueueImpl.hpp"

namespace zorlan {

std::uint64_t detail::nextSpecificKeyId() noexcept {
  static std::atomic<std::uint64_t> counter{0};
  return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

namespace {

using detail::QueueImpl;

const char* globalLabel(DispatchQoS qos) {
  switch (qos) {
    case DispatchQoS::background:
      return "com.apple.root.background-qos";
    case DispatchQoS::utility:
      return "com.apple.root.utility-qos";
    case DispatchQoS::userInitiated:
      return "com.apple.root.user-initiated-qos";
    case DispatchQoS::userInteractive:
      return "com.apple.root.user-interactive-qos";
    case DispatchQoS::standard:
    case DispatchQoS::unspecified:
      break;
  }
  return "com.apple.root.default-qos";
}

const std::shared_ptr<QueueImpl>& globalImpl(DispatchQoS qos) {
  static auto* impls = [] {
    auto* all = new std::array<std::shared_ptr<QueueImpl>, 6>();
    for (std::size_t i = 0; i < all->size(); ++i) {
      auto q = static_cast<DispatchQoS>(i);
      if (q == DispatchQoS::unspecified) continue;
      (*all)[i] = std::make_shared<QueueImpl>(QueueImpl::Kind::global, globalLabel(q), q, nullptr);
    }
    (*all)[0] = (*all)[static_cast<std::size_t>(DispatchQoS::standard)];
    return all;
  }();
  return (*impls)[static_cast<std::size_t>(qos)];
}

}  // namespace

DispatchQueue::DispatchQueue(std::string label, DispatchQoS qos,
                             std::optional<DispatchQueue> target)
    : impl_(std::make_shared<QueueImpl>(
          QueueImpl::Kind::serial, std::move(label), qos,
          target ? target->impl_
                 : globalImpl(qos == DispatchQoS::unspecified ? DispatchQoS::standard : qos))) {}

const std::shared_ptr<QueueImpl>& detail::queueImpl(const DispatchQueue& queue) noexcept {
  return queue.impl_;
}

DispatchQueue DispatchQueue::main() { return DispatchQueue(detail::mainQueueImpl()); }

DispatchQueue DispatchQueue::global(DispatchQoS qos) { return DispatchQueue(globalImpl(qos)); }

const std::string& DispatchQueue::label() const noexcept { return impl_->label; }

DispatchQoS DispatchQueue::qos() const noexcept { return impl_->qos; }

std::optional<DispatchQueue> DispatchQueue::target() const {
  if (!impl_->target) return std::nullopt;
  return DispatchQueue(impl_->target);
}

bool DispatchQueue::isSerial() const noexcept { return impl_->kind != QueueImpl::Kind::global; }

void DispatchQueue::async(std::function<void()> work) const { impl_->submit(std::move(work)); }

void DispatchQueue::async(DispatchWorkItem item) const {
  impl_->submit([item = std::move(item)] { item.perform(); });
}

void DispatchQueue::asyncAfter(DispatchTime deadline, std::function<void()> work) const {
  impl_->submitAfter(deadline, std::move(work));
}

void DispatchQueue::asyncAfter(DispatchTime deadline, DispatchWorkItem item) const {
  impl_->submitAfter(deadline, [item = std::move(item)] { item.perform(); });
}

ZORLAN_HOT void DispatchQueue::syncInvoke(void (*call)(void*), void* context) const {
  impl_->sync(call, context);
}

void DispatchQueue::setSpecificRaw(std::uint64_t key, std::shared_ptr<const void> value) const {
  impl_->setSpecific(key, std::move(value));
}

std::shared_ptr<const void> DispatchQueue::getSpecificRaw(std::uint64_t key) const {
  return impl_->specific(key);
}

std::shared_ptr<const void> DispatchQueue::currentSpecificRaw(std::uint64_t key) {
  const detail::RunningFrame* frame = detail::innermostFrame();
  if (!frame) return nullptr;
  for (const QueueImpl* q = frame->queue; q; q = q->target.get()) {
    if (auto value = q->specific(key)) return value;
  }
  return nullptr;
}

}  // namespace zorlan
