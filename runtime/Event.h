// Synchronous events with scoped subscriptions. An object that receives another's events
// holds the Subscription; dropping it unsubscribes. Subscribing or unsubscribing from
// inside a handler is safe: a raise calls the handlers subscribed when it began that are
// still subscribed when their turn comes.
#pragma once

#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace runtime {

class Subscription {
 public:
  Subscription() = default;
  explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
  Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, {})) {}
  Subscription& operator=(Subscription&& other) noexcept {
    if (this != &other) {
      Reset();
      cancel_ = std::exchange(other.cancel_, {});
    }
    return *this;
  }
  ~Subscription() { Reset(); }

  void Reset() {
    if (cancel_) std::exchange(cancel_, {})();
  }

 private:
  std::function<void()> cancel_;
};

template <typename... Args>
class Event {
 public:
  using Handler = std::function<void(Args...)>;

  [[nodiscard]] Subscription Subscribe(Handler handler) {
    auto slot = std::make_shared<Slot>(Slot{std::move(handler), true});
    slots_->push_back(slot);
    std::weak_ptr<std::vector<std::shared_ptr<Slot>>> weak = slots_;
    return Subscription([weak, slot] {
      slot->active = false;
      if (auto list = weak.lock()) std::erase(*list, slot);
    });
  }

  void Raise(Args... args) const {
    auto snapshot = *slots_;
    for (const auto& slot : snapshot) {
      if (slot->active) slot->handler(args...);
    }
  }

 private:
  struct Slot {
    Handler handler;
    bool active;
  };
  std::shared_ptr<std::vector<std::shared_ptr<Slot>>> slots_ =
      std::make_shared<std::vector<std::shared_ptr<Slot>>>();
};

}  // namespace runtime
