#include "apps/cli/generation_monitor.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <csignal>

namespace zubra::cli {
namespace {

// Set by the handler; read by the commands and the monitor.
volatile std::sig_atomic_t g_interrupted = 0;
// The cancel flag is written through std::atomic_ref, which must not take a lock.
static_assert(std::atomic_ref<bool>::is_always_lock_free);

extern "C" void OnInterrupt(int /*signal*/) {
  if (g_interrupted != 0) {
    // Asked twice: stop the default way (a signal-safe pair of calls).
    std::signal(SIGINT, SIG_DFL);
    std::raise(SIGINT);
    return;
  }
  g_interrupted = 1;
}

struct sigaction g_previous {};

constexpr int kBarWidth = 24;

}  // namespace

// --- InterruptScope. ------------------------------------------------------------------------

InterruptScope::InterruptScope() {
  struct sigaction action {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, &g_previous);
}

InterruptScope::~InterruptScope() { sigaction(SIGINT, &g_previous, nullptr); }

bool InterruptScope::Requested() { return g_interrupted != 0; }

void InterruptScope::Request() { g_interrupted = 1; }

void InterruptScope::Reset() { g_interrupted = 0; }

// --- GenerationMonitor. ---------------------------------------------------------------------

GenerationMonitor::GenerationMonitor(Options options) : options_(std::move(options)) {
  if (!options_.interrupted) options_.interrupted = &InterruptScope::Requested;
  options_.tick = std::max(options_.tick, std::chrono::milliseconds(1));
  thread_ = std::thread(&GenerationMonitor::Watch, this);
}

GenerationMonitor::~GenerationMonitor() { Stop(); }

std::function<void(int, int)> GenerationMonitor::ProgressCallback() {
  return [this](int done, int total) {
    total_.store(total, std::memory_order_relaxed);
    done_.store(done, std::memory_order_relaxed);
  };
}

void GenerationMonitor::Stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  wake_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void GenerationMonitor::Watch() {
  const auto start = std::chrono::steady_clock::now();
  std::unique_lock<std::mutex> lock(mutex_);
  while (!wake_.wait_for(lock, options_.tick, [this] { return stopping_; })) {
    if (options_.interrupted()) std::atomic_ref<bool>(cancel_).store(true);
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (options_.bar != nullptr && elapsed >= options_.delay) {
      *options_.bar << '\r'
                    << RenderBar(done_.load(std::memory_order_relaxed),
                                 total_.load(std::memory_order_relaxed), elapsed)
                    << std::flush;
      drawn_ = true;
    }
  }
  // One last look, so that an interrupt that came during the final tick is not lost.
  if (options_.interrupted()) std::atomic_ref<bool>(cancel_).store(true);
  if (drawn_) *options_.bar << "\r\x1b[K" << std::flush;  // erase the line
}

std::string GenerationMonitor::RenderBar(int done, int total, std::chrono::milliseconds elapsed) {
  const auto seconds = static_cast<long long>(elapsed.count() / 1000);
  if (total <= 0) {
    static constexpr const char* kWheel = "|/-\\";
    const auto turn = static_cast<std::size_t>((elapsed.count() / 250) % 4);
    return fmt::format("Generating the design {} {} s", kWheel[turn], seconds);
  }
  const int shown = std::clamp(done, 0, total);
  const int filled = static_cast<int>(static_cast<long long>(shown) * kBarWidth / total);
  return fmt::format("Generating the design [{}{}] {}/{} starts, {} s", std::string(filled, '#'),
                     std::string(kBarWidth - filled, '.'), shown, total, seconds);
}

}  // namespace zubra::cli
