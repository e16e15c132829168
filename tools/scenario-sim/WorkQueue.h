// A blocking first-in first-out queue between two pipeline threads.
#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace scenariosim {

template <typename T>
class WorkQueue {
  public:
    void push(T item) {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mItems.push_back(std::move(item));
        }
        mCond.notify_one();
    }

    // Waits for an item; false once the queue is closed and empty.
    bool pop(T* item) {
        std::unique_lock<std::mutex> lock(mLock);
        mCond.wait(lock, [this] { return !mItems.empty() || mClosed; });
        if (mItems.empty()) return false;
        *item = std::move(mItems.front());
        mItems.pop_front();
        return true;
    }

    // Items already queued are still handed out.
    void close() {
        {
            std::lock_guard<std::mutex> lock(mLock);
            mClosed = true;
        }
        mCond.notify_all();
    }

  private:
    std::mutex mLock;
    std::condition_variable mCond;
    std::deque<T> mItems;  // guarded by mLock
    bool mClosed = false;  // guarded by mLock
};

}  // namespace scenariosim
