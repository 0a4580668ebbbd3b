// Callbacks that wait for an answer for a limited time. Each has a key and runs exactly once: with the answer,
// or with null when its time is over or when it is given up. Those that still wait when this object is
// destroyed are never called.
#pragma once

#include <asio/io_context.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <utility>

#include "host/chassis/base/timer.h"

namespace chassis {

template <typename Key, typename Answer>
class BoundedWaits {
 public:
  using OnAnswer = std::function<void(const Answer *answer)>;

  explicit BoundedWaits(asio::io_context &loop) : loop_(loop) {}

  /// `on_answer` never runs inside this call. An earlier wait of the same key is given up.
  void add(const Key &key, std::chrono::milliseconds bound, OnAnswer on_answer) {
    answer(key, nullptr);
    Wait &wait = waits_.try_emplace(key, loop_, std::move(on_answer)).first->second;
    wait.timer.set(bound, [this, key] { answer(key, nullptr); });
  }

  /// The callback may destroy this object. @return whether anything waited for the key
  bool answer(const Key &key, const Answer *answer) {
    const auto found = waits_.find(key);
    if (found == waits_.end()) return false;
    const OnAnswer on_answer = std::move(found->second.on_answer);
    waits_.erase(found);
    on_answer(answer);
    return true;
  }

  /// Answers every wait in the order of the keys, also those that a callback adds meanwhile.
  void answer_all(const Answer *answer_for_all) {
    while (!waits_.empty()) {
      const Key first = waits_.begin()->first;
      answer(first, answer_for_all);
    }
  }

  void give_up_all() { answer_all(nullptr); }

 private:
  struct Wait {
    Wait(asio::io_context &loop, OnAnswer callback) : on_answer(std::move(callback)), timer(loop) {}
    OnAnswer on_answer;
    Timer timer;
  };

  asio::io_context &loop_;
  std::map<Key, Wait> waits_;
};

}  // namespace chassis
