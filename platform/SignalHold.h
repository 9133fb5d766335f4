// Holds back the signals that ask a process to end (SIGINT, SIGQUIT, SIGTERM, SIGHUP) during work that must
// not stop half-way. A signal that arrives stays pending and acts when the hold ends. An ignored signal stays
// ignored.
//
// A hold covers the calling thread and every thread that it creates meanwhile, so take it before those
// threads are made. Holds and windows may be nested, all on one thread. Whoever is responsible for the whole
// run takes the hold; code inside that may block without a limit, for instance to read a host file, opens a
// window.
#pragma once

#include <csignal>

class SignalHold final {
 public:
  SignalHold();
  ~SignalHold();
  SignalHold(const SignalHold&) = delete;
  SignalHold& operator=(const SignalHold&) = delete;

 private:
  sigset_t outerHeld;  // the signals held before
  sigset_t outerMask;  // the signals blocked before
};

// Lets the held signals act at once while it lives, for a part of the work that may end at any point. Without
// a hold it changes nothing, and signals that were blocked before the hold stay blocked.
class SignalWindow final {
 public:
  SignalWindow();
  ~SignalWindow();
  SignalWindow(const SignalWindow&) = delete;
  SignalWindow& operator=(const SignalWindow&) = delete;

 private:
  sigset_t previous;  // the mask outside the window
};
