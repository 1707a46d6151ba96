// The console primitives: everything that the user reads passes through here. Text goes to a sink (standard
// output unless a test replaced it), colours only when the sink is a terminal, colours are enabled and
// NO_COLOR is not set.
//
// Not locked, except the progress line (status room) and the crash handler, which share console_lock().
#pragma once

#include <mutex>
#include <string>
#include <string_view>

#include "base/console/colors.h"
#include "os/error.h"
#include "os/types.h"

namespace trel::Console {

// Where text goes. Tests install their own.
class Sink {
  public:
    virtual ~Sink();
    virtual void write(std::string_view text) = 0;
    virtual void set_color(ColorLetter color) = 0;
    // Whether progress lines may be redrawn and colours shown.
    virtual bool is_terminal() const = 0;
    // Columns of the terminal as it is now; 0 = unknown.
    virtual u64 columns() const { return 0; }
    // Takes the line that the cursor is on off the terminal; at most `width` characters stand there.
    virtual void erase_line(u64 width) { write("\r" + std::string(width, ' ') + "\r"); }
    // Shows what is still buffered.
    virtual void flush() {}
    // The first failure to show something; none while all text has arrived.
    virtual os::OsError failure() const { return {}; }
    // Waits for the key of a pause; false when nobody is there to press one, and at the end of the input.
    // Returns at once by default, so that a test never blocks.
    virtual bool wait_for_key() { return true; }
    // Reads the line that answers a prompt, without its line end; false at the end of the input, which is
    // where a sink without input always is.
    virtual bool read_line(std::string& line) {
        line.clear();
        return false;
    }
};
// Installs a sink (nullptr: standard output again) and returns the one it replaces. A process has one
// console, so this and the two settings below are the process's: a second console could not share the screen.
Sink* set_sink(Sink* sink);
bool is_terminal();
u64 columns();
void erase_line(u64 width);
void flush();
// Whether something of what was printed could not be shown, and why: "disk_full" for a log on a full disk,
// "disconnected" for a reader that has closed its end of a pipe. The computation goes on anyway; the
// end of the program asks after a flush().
os::OsError output_failed();
// Whether the standard output is a terminal with colours whose user has not set NO_COLOR.
bool standard_output_shows_colors();

// The two settings of CommandLine::console_settings() that this room obeys: the "colors" option (on by
// default) and whether a fatal exit pauses (it does by default).
void set_colors_enabled(bool enabled);
void set_pause_before_fatal_exit(bool pause);
void set_color(ColorLetter color);
void print(std::string_view text, ColorLetter color = ' ');
void print_line(std::string_view text, ColorLetter color = ' ');
void new_line();
// A line feed, the text in red, a line feed; the colour returns to 'w' unless keep_red.
void error_line(std::string_view text, bool keep_red = false);
// label + ": " in 'w', the value in `color`, back to 'w'; ' ' leaves the colour unchanged throughout. No line
// feed.
void labelled(std::string_view label, std::string_view value, ColorLetter color = ' ');
void labelled_line(std::string_view label, std::string_view value, ColorLetter color = ' ');
// The label padded or cut to exactly `width` (its last character forced to a blank) in 'w', the value in
// `color`, 'w', line feed. With ' ' the colour is unchanged throughout.
void aligned_line(std::string_view label, u64 width, std::string_view value, ColorLetter color = ' ');

// "Press any key to continue . . . "; waits only where somebody can press one: standard input and output are
// both terminals. Counts itself. False when there was no key.
bool pause(ColorLetter color = 'w');
u64 pause_count();

// Reads the line that answers a prompt; what was printed is shown first. False at the end of the input.
bool read_line(std::string& line);

// The lock shared by progress lines and the crash handler. A thread that crashes while it draws holds it
// already and takes it once more.
std::recursive_mutex& console_lock();

// Resets the colour, pauses when pause_before_fatal_exit is set, ends the process with the
// code. Any thread.
[[noreturn]] void fatal_exit(int code);

}  // namespace trel::Console
