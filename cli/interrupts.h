#ifndef KAV_EPUB_CLI_INTERRUPTS_H_
#define KAV_EPUB_CLI_INTERRUPTS_H_

#include <signal.h>

namespace kavcli {

// Installs handlers so that SIGINT, SIGTERM and SIGHUP are noted instead of
// killing the process, which then stops its conversions itself and removes
// what they left; and one for SIGCHLD, so that a wait wakes when a child ends.
void InstallInterruptHandlers();
bool Interrupted();
// The exit status of a process stopped by the noted signal: 128 + its
// number (130 for SIGINT, 143 for SIGTERM).
int InterruptedStatus();
// The noted signal, or 0.
int InterruptSignal();

// Holds the interrupt signals and SIGCHLD back while it lives, so that a
// loop can look at Interrupted() and its children and then Pause without
// missing a signal that arrives in between.
class SignalGate {
 public:
  SignalGate();
  ~SignalGate();
  SignalGate(const SignalGate&) = delete;
  SignalGate& operator=(const SignalGate&) = delete;

  // Waits until a held-back signal arrives, or milliseconds pass (< 0: no limit).
  void Pause(int milliseconds) const;
  // In a child made while the gate is up: the interrupt signals are
  // ignored (its parent decides when it stops) and the mask is restored.
  void OpenInChild() const;
  // In a child made while the gate is up, before it runs another program:
  // the mask is restored, and the signals get their usual handling.
  void OpenBeforeExec() const;

 private:
  sigset_t saved_;
};

}  // namespace kavcli

#endif  // KAV_EPUB_CLI_INTERRUPTS_H_
