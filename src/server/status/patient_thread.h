#ifndef TVL_SERVER_STATUS_PATIENT_THREAD_H
#define TVL_SERVER_STATUS_PATIENT_THREAD_H

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace tvl::server {

// A thread that may be stuck in a call of the system, and for whose end one waits only so long.
class PatientThread {
 public:
  // `work` must not throw.
  explicit PatientThread(std::function<void()> work) {
    std::packaged_task<void()> task(std::move(work));
    ended_ = task.get_future();
    thread_ = std::thread(std::move(task));
  }
  ~PatientThread() {
    if (thread_.joinable()) thread_.join();
  }
  PatientThread(const PatientThread&) = delete;
  PatientThread& operator=(const PatientThread&) = delete;

  // True if the work has ended by then.
  [[nodiscard]] bool EndsWithin(std::chrono::milliseconds patience) const {
    return ended_.wait_for(patience) == std::future_status::ready;
  }

 private:
  std::future<void> ended_;
  std::thread thread_;
};

}  // namespace tvl::server

#endif
