// The terminal of the standard input while one key is waited for: no echo, no lines.
#pragma once

namespace trel::os {

// Signals that end or stop the process put the terminal back before they do so. Two threads may wait at the
// same time (a crash during a pause); the terminal is put back by each of them.
class RawTerminal {
  public:
    RawTerminal();  // nothing when the settings cannot be read
    ~RawTerminal();
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

    bool is_raw() const { return raw_; }

  private:
    bool raw_ = false;
};

}  // namespace trel::os
