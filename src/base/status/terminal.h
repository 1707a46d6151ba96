// What only a terminal can do: it has a progress line, which is drawn between reports, and somebody may sit
// at it who answers questions.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace trel {

namespace Console {
class LateLine;
}

// Beside the Status of a run that shows itself to somebody; any run is complete without one.
class Terminal {
  public:
    // Any thread: draws the progress line while the computation is busy elsewhere.
    virtual void tick() = 0;
    // Any thread: takes the progress line off the screen and does not draw it again. Does not wait: false
    // when another thread is drawing or printing.
    virtual bool dismiss() = 0;
    // Whether somebody can answer a question.
    virtual bool attended() const = 0;
    // Prints the question as it stands and waits for the line that answers it; nothing at the end of the
    // input. The run's own thread.
    virtual std::optional<std::string> ask(std::string_view question) = 0;
    // Waits until somebody has read what stands above; false when nobody is there. The run's own thread.
    virtual bool pause() { return attended() && ask("Press Enter to continue . . . ").has_value(); }
    // Keeps a place for a line of the report that is not known yet (base/console/late_line.h); nothing where
    // whoever reports has to wait for it. The run's own thread.
    virtual std::shared_ptr<Console::LateLine> late_line() { return nullptr; }

  protected:
    ~Terminal() = default;
};

}  // namespace trel
