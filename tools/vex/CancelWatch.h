// The one place that watches for the user's wish to stop: Ctrl-C, a request to terminate or a
// closed terminal at any time, and Escape when standard input is a terminal. Whatever vex hands the
// library as a callback or a progress asks here, so that a cancel stops the operation at its next
// line or file, or at the next few MiB of a large one, with code 9.
#pragma once

namespace vex {

class CancelWatch {
public:
    // Catches Ctrl-C from now on; it no longer ends the process at once.
    static void start();
    // Whether the user has asked to stop (once asked, always).
    static bool requested();
    // Raises code 9 ("User cancelled") when the user has asked to stop.
    static void check();
    // The exit status of a cancelled run: that of the signal which asked to stop, as shells report
    // it (143 for a request to terminate, 129 for a closed terminal), else 130.
    static int exitStatus();
};

}  // namespace vex
