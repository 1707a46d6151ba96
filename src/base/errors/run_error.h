// A failure that ends the run and not the process: the machine refused what the run needs.
#pragma once

#include <exception>

namespace trel {

// Thrown before a run has results. Whoever started the run prints it, or tells its message to a client, and
// may start another one. It is not transported.
class RunError : public std::exception {
  public:
    // The lines of the report on the console.
    virtual void print() const = 0;
};

}  // namespace trel
