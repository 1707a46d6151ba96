#include "base/status/linear_console_node.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "base/clock/timer.h"
#include "base/errors/exceptions.h"
#include "base/status/changing_frame.h"
#include "base/status/status_scope.h"
#include "support/capture_console.h"
#include "support/masked.h"

using namespace trel;

namespace {

constexpr double kNever = 1e6;  // seconds between two refreshes

std::string blanks(u64 width) {
    return "\r" + std::string(width, ' ') + "\r";
}

void expect_throws(const std::function<void()>& f, const std::string& function, const std::string& message) {
    try {
        f();
        ADD_FAILURE() << "no exception: " << message;
    } catch (const StringException& e) {
        EXPECT_EQ(e.function, function);
        EXPECT_EQ(e.message, message);
    }
}

}  // namespace

TEST(LinearConsoleTest, PrintsTheLinesOfTheInterface) {
    CaptureConsole console(CaptureConsole::terminal, true);
    LinearConsoleNode node(79, kNever);
    Status& status = node;
    status.Status_Line("plain");
    EXPECT_EQ(console.take(), "plain\n");
    status.Status_ColoredLine({{'G', "a"}, {' ', "b"}, {'Y', "c"}});
    EXPECT_EQ(console.take(), "{G}ab{Y}c{w}\n");
    status.Status_Label(10, "Name:", {'T', "value"});
    EXPECT_EQ(console.take(), "{w}Name:     {T}value{w}\n");
    status.Status_Time("Series", 59.5);
    EXPECT_EQ(console.take(), "{G}Series:  {Y}59.500 seconds  ( 0.992 minutes ){w}\n");
    status.Warning("careful");
    EXPECT_EQ(console.take(), "\n{R}careful\n{w}");
    status.PauseWarning("careful");
    EXPECT_EQ(console.take(), "\n{R}careful\n{w}{w}Press any key to continue . . . \n");
    status.Status_LineSectionStart("Writing...");
    status.Status_LineSectionAdd({'G', " done"});
    status.Status_LineSectionEnd();
    EXPECT_EQ(console.take(), "Writing...{G} done{w}\n");
}

TEST(LinearConsoleTest, ALateLabelStandsInItsPlace) {
    for (const bool comes : {true, false}) {
        CaptureConsole console(CaptureConsole::terminal, true);
        LinearConsoleNode node(79, kNever);
        const std::shared_ptr<LateLabel> late = node.late_label();
        node.Status_Line("behind it");
        EXPECT_EQ(console.take(), "");
        std::thread([&] {
            if (comes) {
                late->arrive(10, "Name:", {'T', "value"});
            } else {
                late->drop();
            }
        }).join();
        late->wait();
        EXPECT_EQ(console.take(), comes ? "{w}Name:     {T}value{w}\nbehind it\n" : "behind it\n");
    }
}

// A text that changes is on the line all the time, and gone with its object.
TEST(LinearConsoleTest, ChangingFramesStay) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(79, kNever);
    {
        ChangingFrame frame(node);
        EXPECT_EQ(console.take(), "");
        frame.show([] { return "1 digit"; });
        EXPECT_TRUE(console.take().ends_with("1 digit"));
        int made = 0;
        // The next texts wait until people have read this one.
        while (made == 0) {
            frame.show([&] {
                made++;
                return "2 digits";
            });
        }
        EXPECT_TRUE(console.take().ends_with("2 digits"));
    }
    EXPECT_EQ(console.take(), blanks(79));
}

TEST(LinearConsoleTest, SectionsPrintTheirNameAndTime) {
    CaptureConsole console;
    LinearConsoleNode node(79, 1.0);
    {
        StatusSection section(node, "Large Division...");
        EXPECT_EQ(console.take(), "Large Division...\n");
        section.node().Status_Line("inside");
        EXPECT_EQ(console.take(), "inside\n");
    }
    const std::string time = console.take();
    EXPECT_EQ(kalvor_test::with_nines(time), "Time:    9.999 seconds  ( 9.999 minutes )\n");
    EXPECT_EQ(time.substr(0, 11), "Time:    0.");
    EXPECT_NE(time.find("( 0."), std::string::npos) << time;
}

TEST(LinearConsoleTest, ASectionLeftByAnExceptionPrintsNoTimeAndLeavesNothing) {
    CaptureConsole console;
    LinearConsoleNode node(79, 1.0);
    try {
        StatusSection section(node, "Step");
        StatusFrame frame(section.node(), " 0M ");
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(console.take(), "Step\n");
    StatusSection again(node, "Again");  // would throw if a child were left
}

TEST(LinearConsoleTest, FramesAreTheSegmentsOfTheProgressLine) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, 0);
    {
        StatusFrame a(node, " 0M ", u64(1234));
        EXPECT_EQ(console.take(), blanks(20) + " 0M 1,234");
        {
            StatusFrame b(a.node(), " x");
            EXPECT_EQ(console.take(), blanks(20) + " 0M 1,234 x");
        }
        EXPECT_EQ(console.take(), blanks(20) + " 0M 1,234");
    }
    EXPECT_EQ(console.take(), blanks(20));  // nothing left to show
}

TEST(LinearConsoleTest, OtherTextErasesTheProgressLineFirst) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, kNever);
    {
        StatusSection section(node, "Step");
        StatusFrame frame(section.node(), "working");
        EXPECT_EQ(console.take(), "Step\n" + blanks(20) + "working");
        frame.node().Status_Line("text");
        EXPECT_EQ(console.take(), blanks(20) + "text\n");
        frame.node().Status_Line("text");
        EXPECT_EQ(console.take(), "text\n");  // there was no line any more
        frame.node().refresh(true);
        console.take();
    }
    const std::string end = console.take();
    EXPECT_EQ(end.substr(0, 22), blanks(20));
    EXPECT_EQ(end.substr(22, 9), "Time:    ");
}

// The time of a sub-step does not run into the line of the frames around it.
TEST(LinearConsoleTest, TheTimeOfASubStepErasesTheProgressLineFirst) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, kNever);
    StatusFrame outer(node, "outer");
    {
        StatusSection section(outer.node(), "Step");
        console.take();
        node.refresh(true);
        EXPECT_EQ(console.take(), blanks(20) + "outer");
    }
    EXPECT_EQ(console.take().substr(0, 31), blanks(20) + "Time:    ");
}

TEST(LinearConsoleTest, RefreshesOncePerIntervalUnlessForced) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, kNever);
    StatusFrame frame(node, "frame");
    console.take();
    for (int i = 0; i < 1000; i++) frame.node().refresh();
    EXPECT_EQ(console.take(), "");
    frame.node().refresh(true);
    EXPECT_EQ(console.take(), blanks(20) + "frame");
    frame.node().refresh(true);
    EXPECT_EQ(console.take(), blanks(20) + "frame");
}

namespace {

void spin(double seconds) {
    const WallTimer timer;
    while (timer.seconds() < seconds) {
    }
}

}  // namespace

TEST(LinearConsoleTest, TheIntervalIsInSeconds) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode slow(20, 1e4), quick(20, 0.02);
    StatusFrame frame(slow, "slow");
    EXPECT_EQ(console.take(), blanks(20) + "slow");  // the first drawing waits for nothing
    StatusFrame other(quick, "quick");
    console.take();
    spin(0.1);
    slow.refresh();
    EXPECT_EQ(console.take(), "");
    quick.refresh();
    EXPECT_EQ(console.take(), blanks(20) + "quick");
}

// Seconds, not merely something long or short. A machine that was busy elsewhere meanwhile proves nothing.
TEST(LinearConsoleTest, TheIntervalIsAsLongAsItSays) {
    constexpr double kInterval = 0.2;
    CaptureConsole console(CaptureConsole::terminal);
    bool early = false;
    for (int attempt = 0; attempt < 20 && !early; attempt++) {
        LinearConsoleNode node(20, kInterval);
        const WallTimer timer;
        StatusFrame frame(node, "frame");
        spin(kInterval / 2);
        console.take();
        node.refresh();
        early = timer.seconds() < 0.9 * kInterval;
        if (!early) continue;
        EXPECT_EQ(console.take(), "");
        spin(kInterval);
        node.refresh();
        EXPECT_EQ(console.take(), blanks(20) + "frame");
    }
    EXPECT_TRUE(early);
}

TEST(LinearConsoleTest, CountsAreDrawnOncePerIntervalAndNeverStale) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, kNever);
    StatusFrame frame(node, "Sum ");
    EXPECT_EQ(console.take(), blanks(20) + "Sum ");
    StatusIteration iteration(frame.node(), Status::IterationMode::count, 1000);
    for (u64 i = 0; i < 1000; i++) iteration.update(i);
    EXPECT_EQ(console.take(), "");
    node.refresh(true);
    EXPECT_EQ(console.take(), blanks(20) + "Sum (999 / 1000)");
}

// A line that is put together by pieces is not run over by the progress line, which comes back after it.
TEST(LinearConsoleTest, AnOpenLineIsNotDrawnOver) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, 0);
    StatusFrame frame(node, "frame");
    console.take();
    frame.node().Status_LineSectionStart("Writing...");
    EXPECT_EQ(console.take(), blanks(20) + "Writing...");
    node.refresh(true);
    frame.node().Status_LineSectionAdd({'G', " done"});
    EXPECT_EQ(console.take(), " done");
    frame.node().Status_LineSectionEnd();
    EXPECT_EQ(console.take(), "\n");
    node.refresh(true);
    EXPECT_EQ(console.take(), blanks(20) + "frame");
}

TEST(LinearConsoleTest, DrawingHoldsTheConsoleLock) {
    class Asking final : public Console::Sink {
      public:
        Asking() : before_(Console::set_sink(this)) {}
        ~Asking() override { Console::set_sink(before_); }
        void write(std::string_view) override {
            std::thread([this] {
                if (Console::console_lock().try_lock()) {
                    Console::console_lock().unlock();
                    free++;
                } else {
                    held++;
                }
            }).join();
        }
        void set_color(Console::ColorLetter) override {}
        bool is_terminal() const override { return true; }
        int held = 0, free = 0;

      private:
        Console::Sink* before_;
    };
    Asking sink;
    LinearConsoleNode node(20, kNever);
    node.push_node({'w', "frame"});
    EXPECT_EQ(sink.held, 2);  // blanks, text
    node.refresh(true);
    EXPECT_EQ(sink.held, 4);
    EXPECT_EQ(sink.free, 0);
    node.pop_frame();  // takes the line off
    EXPECT_EQ(sink.held, 5);
    EXPECT_EQ(sink.free, 0);
    node.Status_Line("text");
    EXPECT_EQ(sink.free, 1);
    // A thread that crashes while it draws takes the lock once more.
    const std::lock_guard<std::recursive_mutex> drawing(Console::console_lock());
    EXPECT_TRUE(Console::console_lock().try_lock());
    Console::console_lock().unlock();
}

// A refresh that is not due returns although somebody else has the lock.
TEST(LinearConsoleTest, ARefreshThatIsNotDueTakesNoLock) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, kNever);
    StatusFrame frame(node, "frame");
    std::atomic<bool> locked{false}, done{false};
    bool gave_up = false;
    std::thread holder([&] {
        const std::lock_guard<std::recursive_mutex> lock(Console::console_lock());
        locked = true;
        const WallTimer timer;
        while (!done && !gave_up) {
            std::this_thread::yield();
            gave_up = timer.seconds() > 20;
        }
    });
    while (!locked) std::this_thread::yield();
    for (int i = 0; i < 1000; i++) node.refresh();
    done = true;
    holder.join();
    EXPECT_FALSE(gave_up);
}

TEST(LinearConsoleTest, SegmentsPastTheWidthAreNotDrawn) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(79, 0);
    StatusFrame a(node, std::string(40, 'a'));
    StatusFrame b(a.node(), std::string(39, 'b'));
    console.take();
    {
        StatusFrame c(b.node(), "c");
        EXPECT_EQ(console.take(), blanks(79) + std::string(40, 'a') + std::string(39, 'b'));
    }
    LinearConsoleNode other(79, 0);
    StatusFrame d(other, std::string(40, 'd'));
    console.take();
    StatusFrame e(d.node(), std::string(40, 'e'));
    StatusFrame f(e.node(), "f");
    console.take();
    f.node().refresh(true);
    EXPECT_EQ(console.take(), blanks(79) + std::string(40, 'd'));
    StatusIteration count(f.node(), Status::IterationMode::count, 5);
    console.take();
    count.update(1);  // does not fit either
    EXPECT_EQ(console.take(), blanks(79) + std::string(40, 'd'));
}

TEST(LinearConsoleTest, RedirectedOutputHasNoProgressLine) {
    CaptureConsole console;
    LinearConsoleNode node(79, 0);
    {
        StatusFrame frame(node, "frame");
        StatusIteration iteration(frame.node(), Status::IterationMode::percentage, 10);
        iteration.update(5);
        node.refresh(true);
    }
    node.Status_Line("line");
    EXPECT_EQ(console.take(), "line\n");
}

TEST(LinearConsoleTest, IterationsShowPercentOrCount) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(20, 0);
    StatusFrame frame(node, "Sum ");
    console.take();
    {
        StatusIteration iteration(frame.node(), Status::IterationMode::percentage, 7);
        EXPECT_EQ(console.take(), blanks(20) + "Sum 0 %");
        iteration.update(3);
        EXPECT_EQ(console.take(), blanks(20) + "Sum 42 %");
        iteration.update(7);
        EXPECT_EQ(console.take(), blanks(20) + "Sum 100 %");
    }
    EXPECT_EQ(console.take(), blanks(20) + "Sum ");
    {
        StatusIteration iteration(frame.node(), Status::IterationMode::count, 25);
        iteration.update(3);
        EXPECT_EQ(console.take(), blanks(20) + "Sum (0 / 25)" + blanks(20) + "Sum (3 / 25)");
    }
    EXPECT_EQ(iteration_text(Status::IterationMode::percentage, 0, 0), "100 %");  // nothing to do is done
    console.take();
    StatusIteration huge(frame.node(), Status::IterationMode::percentage, ~u64(0));
    huge.update(~u64(0) / 2);
    EXPECT_EQ(console.take(), blanks(20) + "Sum 0 %" + blanks(20) + "Sum 49 %");
    huge.update(~u64(0));
    EXPECT_EQ(console.take(), blanks(20) + "Sum 100 %");
}

TEST(LinearConsoleTest, MisuseIsRefused) {
    CaptureConsole console;
    LinearConsoleNode node(79, 1.0);
    expect_throws([&] { node.pop_frame(); }, "LinearConsoleNode::pop_frame()",
                  "Attempted to pop a non-existent node.");
    Status& child = node.push_node({'w', "x"});
    expect_throws(
        [&] {
            node.push_node({'w', "y"});
        },
        "LinearConsoleNode::push_node()", "Attempted to fork a linear status chain.");
    expect_throws([&] { child.pop_frame(); }, "LinearConsoleNode::pop_frame()",
                  "Attempted to pop a non-existent node.");
    child.make_iteration(Status::IterationMode::count, 3);
    expect_throws([&] { child.make_iteration(Status::IterationMode::count, 3); },
                  "LinearConsoleNode::make_iteration()", "Attempted to fork a linear status chain.");
    expect_throws([&] { child.Status_MicroSectionStart("s"); },
                  "LinearConsoleNode::Status_MicroSectionStart()",
                  "Attempted to fork a linear status chain.");
    expect_throws([&] { child.Status_MicroSectionEnd(); }, "LinearConsoleNode::Status_MicroSectionEnd()",
                  "Attempted to pop a non-existent node.");
    child.pop_frame();
    node.pop_frame();
    expect_throws([&] { node.pop_frame(); }, "LinearConsoleNode::pop_frame()",
                  "Attempted to pop a non-existent node.");
}

TEST(LinearConsoleTest, AFatalErrorEndsTheProgram) {
    EXPECT_EXIT(
        {
            print_to_stderr(true);
            Console::set_pause_before_fatal_exit(false);
            LinearConsoleNode(79, 1.0).FatalError("broken");
        },
        testing::ExitedWithCode(1), "^\n.R.broken\n.w.Fatal error encountered. Terminating program.\n.w.$");
}

// As an error, without and with somebody who watches.
TEST(LinearConsoleTest, AFatalErrorGoesToTheErrorStream) {
    Console::set_pause_before_fatal_exit(false);
    constexpr const char* kText = "^\nbroken\nFatal error encountered. Terminating program.\n$";
    EXPECT_EXIT(LinearConsoleNode(79, 1.0).FatalError("broken"), testing::ExitedWithCode(1), kText);
    EXPECT_EXIT(null_status().FatalError("broken"), testing::ExitedWithCode(1), kText);
    Console::set_pause_before_fatal_exit(true);
}

TEST(LinearConsoleTest, AsksTheUser) {
    CaptureConsole console(CaptureConsole::terminal);
    LinearConsoleNode node(79, 1.0);
    node.push_node({'w', "frame"});
    node.refresh(true);
    (void)console.take();
    console.type({"an answer", ""});
    EXPECT_EQ(node.ask("What?\nAnswer: "), std::optional<std::string>("an answer"));
    // The progress line is out of the way, and comes back.
    EXPECT_EQ(console.take(), "\r" + std::string(79, ' ') + "\rWhat?\nAnswer: ");
    EXPECT_EQ(node.ask("?"), std::optional<std::string>(""));
    (void)console.take();
    EXPECT_EQ(node.ask("?"), std::nullopt);
    EXPECT_EQ(console.take(), "?\n");
    node.refresh(true);
    EXPECT_NE(console.take().find("frame"), std::string::npos);
    node.pop_frame();
}

// Output that is redirected is read by nobody who could answer.
TEST(LinearConsoleTest, IsNotAttendedWithoutATerminal) {
    const CaptureConsole console;
    EXPECT_FALSE(LinearConsoleNode(79, 1.0).attended());
}

TEST(NullStatusTest, AcceptsEverythingAndPrintsNothing) {
    CaptureConsole console(CaptureConsole::terminal);
    Status& status = null_status();
    {
        StatusSection section(status, "Step");
        StatusFrame frame(section.node(), " 0M ", u64(5));
        StatusIteration iteration(frame.node(), Status::IterationMode::percentage, 0);
        iteration.update(1);
        frame.node().Status_Line("x");
        frame.node().Warning("x");
        frame.node().refresh(true);
    }
    EXPECT_EQ(console.text(), "");
    EXPECT_EXIT(
        {
            print_to_stderr();
            Console::set_pause_before_fatal_exit(false);
            status.FatalError("broken");
        },
        testing::ExitedWithCode(1), "^\nbroken\nFatal error encountered. Terminating program.\n$");
}

TEST(StatusDigitsTest, Words) {
    EXPECT_EQ(status_digits(0), 0u);
    EXPECT_EQ(status_digits(1), 19u);
    EXPECT_EQ(status_digits(1000000), 19265919u);
}

// A sink that fails costs the report and not the program.
TEST(StatusScopesTest, NothingLeavesTheirEnds) {
    class Broken final : public Console::Sink {
      public:
        void write(std::string_view) override {
            if (broken) throw StringException("", "broken");
        }
        void set_color(Console::ColorLetter) override {}
        bool is_terminal() const override { return true; }
        bool broken = false;
    } sink;
    Console::Sink* const before = Console::set_sink(&sink);
    LinearConsoleNode node(79, 0);
    for (const bool while_unwinding : {false, true}) {
        try {
            StatusSection section(node, "Section");
            StatusFrame frame(section.node(), "Frame");
            const StatusIteration iteration(frame.node(), Status::IterationMode::count, 5);
            sink.broken = true;
            if (while_unwinding) throw 5;
        } catch (int) {
            EXPECT_TRUE(while_unwinding);
        }
        sink.broken = false;
        // The chain is as it was.
        const StatusSection next(node, "Section");
    }
    Console::set_sink(before);
}
