// What only a terminal can do: show a progress line between reports, and ask questions that a user may
// answer.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/console/colors.h"
#include "os/types.h"

namespace trel {

// A line "name: value" of a report whose value is not known yet.
class LateLabel {
  public:
    virtual ~LateLabel() = default;
    // Any thread, once: the text of the line, as for Status_Label().
    virtual void arrive(u64 width, std::string_view name, const Console::ColoredText& value) = 0;
    // Any thread, in place of arrive(): there will be no line.
    virtual void drop() = 0;
    // Waits for one of the two.
    virtual void wait() = 0;
};

// Stands beside the Status of a run that a user watches. A run is complete without one.
class Terminal {
  public:
    // Any thread: draws the progress line while the computation is busy elsewhere.
    virtual void tick() = 0;
    // Any thread: takes the progress line off the screen and does not draw it again. Does not wait: false
    // when another thread is drawing or printing.
    virtual bool dismiss() = 0;
    // Whether a user can answer a question.
    virtual bool attended() const = 0;
    // Prints the question as it stands and waits for the line that answers it; nothing at the end of the
    // input. The run's own thread.
    virtual std::optional<std::string> ask(std::string_view question) = 0;
    // Waits until the user has read what stands above; false if no user is there. The run's own thread.
    virtual bool pause() { return attended() && ask("Press Enter to continue . . . ").has_value(); }
    // Keeps a place for a line of the report that is not known yet: what is reported behind it is shown when
    // the line has come. nullptr if the caller has to wait for the value. The run's own thread.
    virtual std::shared_ptr<LateLabel> late_label() { return nullptr; }

  protected:
    ~Terminal() = default;
};

}  // namespace trel
