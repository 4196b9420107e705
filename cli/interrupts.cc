#include "cli/interrupts.h"

#include <poll.h>
#include <time.h>

namespace kavcli {

namespace {

volatile sig_atomic_t g_signal = 0;

constexpr int kInterrupts[] = {SIGINT, SIGTERM, SIGHUP};

void OnInterrupt(int signal) {
  if (g_signal == 0) g_signal = signal;
}

void OnChildEnded(int) {}

void Handle(int signal, void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

void InstallInterruptHandlers() {
  for (int signal : kInterrupts) Handle(signal, OnInterrupt);
  Handle(SIGCHLD, OnChildEnded);
  // A program may be started with them held back; a wait must see them.
  sigset_t held;
  sigemptyset(&held);
  for (int signal : kInterrupts) sigaddset(&held, signal);
  sigaddset(&held, SIGCHLD);
  sigprocmask(SIG_UNBLOCK, &held, nullptr);
}

bool Interrupted() { return g_signal != 0; }
int InterruptSignal() { return g_signal; }
int InterruptedStatus() { return 128 + g_signal; }

SignalGate::SignalGate() {
  sigset_t held;
  sigemptyset(&held);
  for (int signal : kInterrupts) sigaddset(&held, signal);
  sigaddset(&held, SIGCHLD);
  sigprocmask(SIG_BLOCK, &held, &saved_);
}

SignalGate::~SignalGate() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }

void SignalGate::Pause(int milliseconds) const {
  timespec limit = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
  ppoll(nullptr, 0, milliseconds < 0 ? nullptr : &limit, &saved_);
}

void SignalGate::OpenInChild() const {
  for (int signal : kInterrupts) Handle(signal, SIG_IGN);
  Handle(SIGCHLD, SIG_DFL);
  sigprocmask(SIG_SETMASK, &saved_, nullptr);
}

void SignalGate::OpenBeforeExec() const {
  for (int signal : kInterrupts) Handle(signal, SIG_DFL);
  Handle(SIGCHLD, SIG_DFL);
  sigprocmask(SIG_SETMASK, &saved_, nullptr);
}

}  // namespace kavcli
