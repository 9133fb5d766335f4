#include "platform/SignalHold.h"

#include <array>

namespace {

constexpr std::array EndingSignals = {SIGINT, SIGQUIT, SIGTERM, SIGHUP};

sigset_t NoSignals() {
  sigset_t set;
  sigemptyset(&set);
  return set;
}

// What the holds of this thread have blocked. A signal that was blocked from outside is not theirs to open.
thread_local sigset_t held = NoSignals();

}  // namespace

SignalHold::SignalHold() : outerHeld(held), outerMask(NoSignals()) {
  pthread_sigmask(SIG_SETMASK, nullptr, &outerMask);
  for (const int signal : EndingSignals) {
    if (sigismember(&outerMask, signal) == 0) sigaddset(&held, signal);
  }
  pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

SignalHold::~SignalHold() {
  held = outerHeld;
  pthread_sigmask(SIG_SETMASK, &outerMask, nullptr);
}

SignalWindow::SignalWindow() : previous() {
  pthread_sigmask(SIG_UNBLOCK, &held, &previous);
}

SignalWindow::~SignalWindow() {
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}
