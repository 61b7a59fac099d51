// A wait that ends exactly once: one thread suspends, a callback resumes it with a value.
#pragma once

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

namespace runtime {

/// What can go wrong with a continuation. Either is a defect in the code that holds it.
enum class ContinuationMisuse { resumedTwice, neverResumed };

/// Tells the system log which waiting operation, by its label, was misused. Standard error belongs
/// to the host and stays untouched.
void reportMisuse(ContinuationMisuse misuse, const char* label);

/// The right to resume one waiting thread. Copies share it; any of them, from any thread, resumes,
/// once: a second resume is reported and changes nothing. When the last copy goes without a resume,
/// that is reported too, and the waiting thread gets the fallback that it named.
template <class T>
class Continuation {
 public:
  void resume(T value) const {
    if (!state_->deliver(std::move(value))) {
      reportMisuse(ContinuationMisuse::resumedTwice, state_->label);
    }
  }

 private:
  template <class Value, class Start>
  friend Value suspend(const char* label, Value fallback, Start&& start);

  /// Where the value is handed over. The waiting side owns it, and ends as soon as it has a value.
  struct Slot {
    std::mutex mutex;
    std::condition_variable filled;
    std::optional<T> value;
  };

  /// What all copies share. Its end is the end of the last copy.
  struct State {
    State(const char* name, T lost, Slot& waiting)
        : label(name), fallback(std::move(lost)), slot(waiting) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
      if (deliver(std::move(fallback))) {
        reportMisuse(ContinuationMisuse::neverResumed, label);
      }
    }

    /// True when this was the first value. After it the slot may be gone.
    bool deliver(T value) {
      if (resumed.exchange(true)) {
        return false;
      }
      const std::lock_guard lock(slot.mutex);
      slot.value.emplace(std::move(value));
      slot.filled.notify_one();
      return true;
    }

    const char* label;
    T fallback;
    Slot& slot;
    std::atomic<bool> resumed = false;
  };

  explicit Continuation(std::shared_ptr<State> state) : state_(std::move(state)) {}

  std::shared_ptr<State> state_;
};

/// Calls `start` with a continuation, then blocks the calling thread until it is resumed and
/// returns the value it was resumed with. There is no time limit. What happened before the resume
/// has happened for the waiting thread too. `label` names the waiting operation and outlives it.
template <class T, class Start>
[[nodiscard]] T suspend(const char* label, T fallback, Start&& start) {
  typename Continuation<T>::Slot slot;
  start(Continuation<T>(
      std::make_shared<typename Continuation<T>::State>(label, std::move(fallback), slot)));
  std::unique_lock lock(slot.mutex);
  slot.filled.wait(lock, [&] { return slot.value.has_value(); });
  return std::move(*slot.value);
}

}  // namespace runtime
