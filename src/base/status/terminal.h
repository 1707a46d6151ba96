// What only a terminal can do: it has a progress line, which is drawn between reports.
#pragma once

namespace trel {

// Beside the Status of a run that shows itself to somebody; any run is complete without one. Any
// thread calls it.
class Terminal {
  public:
    // Draws the progress line while the computation is busy elsewhere.
    virtual void tick() = 0;
    // Takes the progress line off the screen and does not draw it again. Does not wait: false when another
    // thread is drawing or printing.
    virtual bool dismiss() = 0;

  protected:
    ~Terminal() = default;
};

}  // namespace trel
