// Standard output and the keyboard, byte by byte. Everything above goes through base/console.
#pragma once

#include <string>
#include <string_view>

#include "os/types.h"

namespace trel::os {

bool stdout_is_terminal();
// Appends to the output buffer; shown at once on a terminal, after each line otherwise.
void write_stdout(std::string_view text);
void flush_stdout();

// Columns that a line of the terminal has now; 0 when the output is not a terminal or does not tell.
u32 terminal_columns();
// Empties the line of the terminal that the cursor is on and puts the cursor at its beginning. Blanks over `width`
// characters, or over the line if that is shorter, where the terminal has no better way.
void erase_terminal_line(u64 width);

// Sets the text colour of a terminal by its console letter ('B' ... 'y', anything else: default). Writes the
// escape whether or not the output is a terminal; the caller has asked.
void set_stdout_color(char letter);

// Waits for one key (not echoed) or the end of the input, whichever comes first. Input that is no terminal is
// consumed by one byte. False when there was no key: the end of the input, or no right to read it.
bool wait_for_key();

// Reads a line of the standard input into `line`, without its line end. A last line that has none counts;
// what goes beyond 64 KiB is dropped. False when there was nothing left to read.
bool read_line(std::string& line);

// Whether the user typed the command at a prompt that was already there (true), rather than getting a window
// of its own for this run. Output that is no terminal counts as a prompt.
bool started_from_existing_console();

// Resizes a terminal window; nothing when the output is no terminal.
void set_window_size(u32 columns, u32 rows);

}  // namespace trel::os
