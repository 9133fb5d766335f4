// Puts off the signals that ask a process to end (SIGINT, SIGQUIT, SIGTERM, SIGHUP) while work goes on that
// must not stop half-way. One that arrives stays pending and acts when the hold ends; an ignored one stays
// ignored.
//
// A hold covers the calling thread and every thread that it creates meanwhile, so it is to be taken before
// those threads are made. Holds and windows may lie inside each other, all on one thread.
#pragma once

#include <csignal>

class SignalHold {
 public:
  SignalHold();
  ~SignalHold();
  SignalHold(SignalHold const&) = delete;
  SignalHold& operator=(SignalHold const&) = delete;

 private:
  sigset_t outerHeld;  // what was held before
  sigset_t outerMask;  // what was blocked before
};

// Lets the held signals act at once while it lives: for a stretch inside a hold that may be left at any
// point. Without a hold it changes nothing.
class SignalWindow {
 public:
  SignalWindow();
  ~SignalWindow();
  SignalWindow(SignalWindow const&) = delete;
  SignalWindow& operator=(SignalWindow const&) = delete;

 private:
  sigset_t previous;  // the mask outside the window
};
