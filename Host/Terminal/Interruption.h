#pragma once

#include <signal.h>

namespace host {

/// The signals by which the user stops the program, without those that it was started to ignore: a blocked signal is
/// delivered even where it is ignored, and what nohup and background jobs ignore is left alone.
sigset_t stoppingSignals();

/// Keeps in mind that the program was stopped, for when it has tidied up. The first one counts.
void noteInterruption(int signal);

/// Where the program was stopped, or is at this moment, ends it by that signal, as whoever waits for it has to know: a
/// shell's loop goes on after a program that only failed. Returns otherwise.
void endIfInterrupted();

}  // namespace host
