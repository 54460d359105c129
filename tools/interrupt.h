// interrupt.h: what Ctrl-C does while a solve runs.
//
// Threads: the main thread, which the signal interrupts.  The state is the process's.

#pragma once

#include <string>

namespace vnt {

// The first interrupt sets the flag that is returned; the next one ends the program.
volatile int *interrupt_watch();

// For a solve that goes on without this program: the first interrupt prints `farewell` to standard
// error and ends the program two seconds later, having printed `result` to standard output.
// Another one within this time sets the flag.
volatile int *interrupt_watch(const std::string &farewell, const std::string &result);

// From now on an interrupt ends the program at once.
void interrupt_release();

} // namespace vnt
