// Ctrl-C and progress for the tool: the interrupt flag set by SIGINT, and the watcher that
// turns it into the design engine's cancel flag and draws a progress bar on a terminal.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>

namespace zubra::cli {

// The process's record of Ctrl-C. While an InterruptScope lives, SIGINT only sets the flag
// (the handler does nothing else, so it is safe at any moment); the commands look at the flag
// at points where stopping leaves no file half-written. A second SIGINT while the flag is
// already set ends the process at once the default way, for a program that does not stop.
class InterruptScope {
 public:
  // Installs the handler; the previous one comes back when the scope ends.
  InterruptScope();
  InterruptScope(const InterruptScope&) = delete;
  InterruptScope& operator=(const InterruptScope&) = delete;
  ~InterruptScope();

  // True once SIGINT arrived (or Request was called).
  [[nodiscard]] static bool Requested();
  // Sets the flag as SIGINT does.
  static void Request();
  // Clears the flag (for a process that goes on after a cancelled job).
  static void Reset();
};

// Watches one design generation from a thread of its own: it copies the interrupt into the
// engine's cancel flag (CancelFlag(), polled by the engine, possibly from its worker
// threads), and, when given a terminal stream, draws a progress bar there once the generation
// has lasted `delay`, redrawing it every `tick` and erasing it when the watch ends.
//
//   GenerationMonitor::Options options;
//   options.bar = isatty(2) ? &std::cerr : nullptr;
//   GenerationMonitor monitor(std::move(options));
//   study.GenerateDesign(monitor.CancelFlag(), monitor.ProgressCallback());
class GenerationMonitor {
 public:
  struct Options {
    // Where the bar is drawn; null draws none.
    std::ostream* bar = nullptr;
    // How long a generation lasts before the bar appears.
    std::chrono::milliseconds delay{1000};
    // How often the flag is copied and the bar redrawn.
    std::chrono::milliseconds tick{100};
    // The interrupt to watch; InterruptScope::Requested when empty.
    std::function<bool()> interrupted;
  };

  explicit GenerationMonitor(Options options);
  GenerationMonitor(const GenerationMonitor&) = delete;
  GenerationMonitor& operator=(const GenerationMonitor&) = delete;
  // Stops the thread and erases the bar.
  ~GenerationMonitor();

  // The flag to hand to the engine; it becomes true (atomically) after an interrupt.
  [[nodiscard]] const bool* CancelFlag() const { return &cancel_; }
  // The engine's progress callback: records (finished starts, starts); safe from any thread.
  [[nodiscard]] std::function<void(int, int)> ProgressCallback();
  // Stops watching (the destructor does it too); a later interrupt is not copied.
  void Stop();

  // One line of the bar for `done` of `total` steps after `elapsed` ("Generating the design
  // [######......] 3/8 starts, 12 s"); without a total (0) a turning wheel instead of the bar.
  static std::string RenderBar(int done, int total, std::chrono::milliseconds elapsed);

 private:
  void Watch();

  Options options_;
  bool cancel_ = false;  // written and read through std::atomic_ref
  std::atomic<int> done_{0};
  std::atomic<int> total_{0};
  std::mutex mutex_;
  std::condition_variable wake_;
  bool stopping_ = false;
  bool drawn_ = false;
  std::thread thread_;
};

}  // namespace zubra::cli
