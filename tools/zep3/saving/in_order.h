// Work on several threads, of which the results come out in order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <utility>

#include <vips/vips8>

// Results are handed on in the order in which their work was begun. For one thread to call; as many more as libvips may
// have do the work.
template <typename Result>
class InOrder {
 public:
  using Take = std::function<void(Result)>;

  // `taskBytes`: what one piece of work holds.
  InOrder(int64_t taskBytes, Take take) : m_take(std::move(take)) {
    constexpr int64_t kAhead = 64 << 20; // bytes of work that waits for being done or handed on; a piece may have more
    const int64_t threads = std::max(1, vips_concurrency_get());
    m_most = static_cast<size_t>(std::clamp<int64_t>(kAhead / std::max<int64_t>(1, taskBytes), 1, threads));
  }

  // `work` returns a Result. What it throws comes out here or of Finish().
  template <typename Work>
  void Begin(Work work) {
    // One thread has the work done by whoever waits for it.
    m_begun.push_back(std::async(m_most > 1 ? std::launch::async : std::launch::deferred, std::move(work)));
    if (m_begun.size() >= m_most) TakeOldest();
  }

  void Finish() {
    while (!m_begun.empty()) TakeOldest();
  }

 private:
  void TakeOldest() {
    Result result = m_begun.front().get();
    m_begun.pop_front();
    m_take(std::move(result));
  }

  Take m_take;
  size_t m_most; // threads
  std::deque<std::future<Result>> m_begun;
};
