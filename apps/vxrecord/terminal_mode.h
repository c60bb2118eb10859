// The terminal on standard input, told to give single keys, and given back as it was.
#pragma once

namespace vxrecord {

/// Whether standard input is a terminal, and this program the one that may read it now; a program
/// in the background would be stopped for trying.
bool isTerminalOurs();

/// Lets keys come one by one and unseen. Ctrl-C and Ctrl-Z keep their meaning.
/// Thread: one at a time.
void enterKeyMode();
/// Gives the terminal back as it was. Thread: any. May be called from a signal handler.
void leaveKeyMode();

/// Gives the terminal back before any signal that ends or stops the program does so. Signals that
/// somebody already handles or ignores stay as they are.
void guardKeyModeAgainstSignals();

/// For a signal handler: gives the terminal back and lets the signal end the program.
void dieOfSignal(int signal);

}  // namespace vxrecord
