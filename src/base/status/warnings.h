// What the work of a run has to tell the user although it goes on: collected from any thread, printed by the
// one that owns the status chain.
#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "base/status/status.h"

namespace trel {

class Warnings {
  public:
    // A line as the console shows it. `raised`: set apart by an empty line before it and in red, like the
    // text of Status::Warning(); the colour is not used then.
    struct Line {
        std::string text;
        Console::ColorLetter color = ' ';
        bool raised = false;
    };

    // Any thread. The lines of one call stay together.
    void add(std::vector<Line> lines);
    // Reports what has come since the last call, in the order in which it came. For the thread of the chain,
    // between its steps and before an exception of the work is reported.
    void report(Status& status);

  private:
    std::mutex mutex_;
    std::vector<Line> lines_;
};

}  // namespace trel
