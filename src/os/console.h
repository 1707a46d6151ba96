// Standard output and the keyboard, byte by byte. Everything above goes through base/console.
#pragma once

#include <string>
#include <string_view>

#include "os/error.h"
#include "os/types.h"

namespace trel::os {

bool stdout_is_terminal();
bool stdin_is_terminal();
// Whether it is a terminal that understands escapes or attributes: on Linux TERM must be set and not "dumb".
bool stdout_shows_colors();
// Appends to the output buffer; shown at once on a terminal, after each line otherwise.
void write_stdout(std::string_view text);
void flush_stdout();
// The first failure of the two calls above; none while all text has arrived. A reader that has closed its end
// of a pipe is `disconnected`; nothing is written after it.
OsError stdout_failure();

// Sets the text colour of a terminal by its console letter ('B' ... 'y', anything else: default). Writes the
// escape whether or not the output is a terminal; the caller has asked.
void set_stdout_color(char letter);

// Waits for one key (not echoed) or the end of the input, whichever comes first. A key that sends several
// bytes is taken whole. Nobody is there to press one unless standard input and output are both terminals:
// then it returns false at once and reads nothing. False also at the end of the input, and without the right
// to read it. A signal that ends the process meanwhile leaves the terminal as it was.
bool wait_for_key();

// Reads a line of the standard input into `line`, without its line end. A last line that has none counts;
// what goes beyond 64 KiB is dropped. False when there was nothing left to read.
bool read_line(std::string& line);

// Whether the user typed the command at a prompt that was already there (true), rather than getting a window
// of its own for this run. Output that is not a terminal counts as a prompt. On Linux always true: a program
// that leads its session may have a window of its own, but also the terminal of "ssh -t" or a container.
bool started_from_existing_console();

// Resizes a terminal window; nothing when the output is not a terminal, or one without escapes.
void set_window_size(u32 columns, u32 rows);

}  // namespace trel::os
