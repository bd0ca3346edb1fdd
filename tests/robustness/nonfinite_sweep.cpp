// The sweep of the non-finite cases: the table built from the problems, and the watchdog
// that names a case that does not return or that ends the process.
#include "robustness/nonfinite_sweep.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>

extern "C" void __sanitizer_set_death_callback(void (*callback)(void)) __attribute__((weak));

namespace paskosda_test {
namespace nonfinite {
namespace {

// ---- watchdog -------------------------------------------------------------------------------

// The case running now (null between cases), named by every message that ends the process.
std::atomic<const char*> current_case{nullptr};

void report_current_case() {
  const char* name = current_case.load();
  if (name == nullptr) return;
  // write(2) alone: this also runs inside signal handlers.
  const char prefix[] = "\nnon-finite sweep: the process ended in case: ";
  [[maybe_unused]] ssize_t n = write(2, prefix, sizeof prefix - 1);
  n = write(2, name, std::strlen(name));
  n = write(2, "\n", 1);
}

extern "C" void report_and_reraise(int signal) {
  report_current_case();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// Names the case on an address-sanitizer report, a failed library check (abort) or a crash;
// an undefined-behaviour report names it with UBSAN_OPTIONS=abort_on_error=1. Under the
// sanitizers their own handler reports a crash, so SIGSEGV is left to them.
void name_the_case_on_crashes() {
  static const bool installed = [] {
    if (__sanitizer_set_death_callback != nullptr) {
      __sanitizer_set_death_callback(report_current_case);
    } else {
      std::signal(SIGSEGV, report_and_reraise);
    }
    std::signal(SIGABRT, report_and_reraise);
    std::signal(SIGFPE, report_and_reraise);
    return true;
  }();
  (void)installed;
}

// A hung call cannot be cancelled: when a case overruns its time, the watchdog prints the case
// and ends the process.
class Watchdog {
 public:
  static constexpr int kLimitSeconds = 10;

  Watchdog() : thread_([this] { watch(); }) {}
  ~Watchdog() {
    done_ = true;
    thread_.join();
  }
  void start(const char* name) {
    deadline_ = now_ms() + kLimitSeconds * 1000;
    current_case = name;
  }
  void stop() { current_case = nullptr; }

 private:
  static long long now_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
  }
  void watch() {
    while (!done_) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      const char* name = current_case.load();
      if (name != nullptr && now_ms() > deadline_.load() && current_case.load() == name) {
        std::fprintf(stderr, "\nnon-finite sweep: no return within %d s from case: %s\n",
                     kLimitSeconds, name);
        std::fflush(stderr);
        std::_Exit(1);
      }
    }
  }

  std::atomic<bool> done_{false};
  std::atomic<long long> deadline_{0};
  std::thread thread_;
};

// Each base problem clean, then every slot and every function output with every value.
std::vector<Case> cases_of(const std::vector<Problem>& problems) {
  std::vector<Case> table;
  for (const Problem& p : problems) {
    table.push_back({p.name + " / clean", &p, p.inputs, Poison()});
    Poison poisoned;
    poisoned.clean = false;
    for (const Slot& s : p.slots) {
      for (const Value& v : kValues) {
        if (s.admits != nullptr && !s.admits(v.x)) continue;
        table.push_back({p.name + " / " + s.name + " = " + v.name, &p, p.inputs, poisoned});
        for (int i : s.at)
          table.back().inputs[i] = v.x;
      }
    }
    for (int output = 0; output < p.outputs; ++output) {
      for (int where = kEverywhere; where <= kFromFifthCall; ++where) {
        for (const Value& v : kValues) {
          table.push_back({p.name + " / " + kOutput[output] + " " + kWhere[where] + " = " + v.name,
                           &p, p.inputs, poisoned});
          Poison& q = table.back().poison;
          q.output = output;
          q.where = static_cast<Where>(where);
          q.value = v.x;
        }
      }
    }
  }
  return table;
}

}  // namespace

void sweep(const std::vector<Problem>& problems) {
  name_the_case_on_crashes();
  const std::vector<Case> table = cases_of(problems);
  ::testing::Test::RecordProperty("cases", static_cast<int>(table.size()));
  Watchdog watchdog;
  for (const Case& c : table) {
    SCOPED_TRACE(c.name);
    Inputs in(c.inputs);
    watchdog.start(c.name.c_str());
    c.problem->run(in, c.poison);
    watchdog.stop();
  }
}

}  // namespace nonfinite
}  // namespace paskosda_test
