#include "base/status/linear_network_node.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "base/errors/exceptions.h"
#include "base/status/data_record.h"
#include "base/status/linear_console_node.h"
#include "base/status/status_scope.h"
#include "support/capture_console.h"
#include "support/masked.h"

using namespace trel;

namespace {

class RecordingSink final : public StatusSink {
  public:
    void send(const Config::Object& message) override { text_ += message.to_acfg(); }
    void wait_for_continue() override { text_ += "<waits>"; }
    std::string take() {
        std::string out;
        out.swap(text_);
        return out;
    }

  private:
    std::string text_;
};

// The acfg text of {key : value}, where value is acfg text on one line or more.
std::string message(const std::string& key, const std::string& value) {
    return "{\r\n    " + key + " : " + value + "\r\n}\r\n";
}
std::string object(const std::string& key, const std::vector<std::string>& members) {
    std::string out = "{\r\n    " + key + " : {\r\n";
    for (const std::string& member : members) out += "        " + member + "\r\n";
    return out + "    }\r\n}\r\n";
}

void expect_throws(const std::function<void()>& f, const std::string& function, const std::string& text) {
    try {
        f();
        ADD_FAILURE() << "no exception: " << text;
    } catch (const StringException& e) {
        EXPECT_EQ(e.function, function);
        EXPECT_EQ(e.message, text);
    }
}

class Output final : public DataRecord {
  public:
    std::string name() const override { return "ComputationOutput"; }
    void write(Config::Object& out) const override { out.add_integer("Digits", 5); }
};

}  // namespace

TEST(LinearNetworkTest, EveryReportIsAMessage) {
    CaptureConsole console;
    RecordingSink sink;
    LinearNetworkNode node(sink, false);
    Status& status = node;
    status.Status_Line("plain \"text\"");
    EXPECT_EQ(sink.take(), message("Status_Line", "\"plain \\\"text\\\"\""));
    status.Status_Label(12, "Name:", {'T', "value"});
    EXPECT_EQ(sink.take(), object("Status_Label", {"Name : \"Name:\"", "Color : \"T\"", "Text : \"value\""}));
    status.Status_Time("Series", 59.5);
    EXPECT_EQ(sink.take(), object("Status_Time", {"Name : \"Series\"", "TimeMilliseconds : 59500"}));
    status.Data_(Output());
    EXPECT_EQ(sink.take(), object("Data_ComputationOutput", {"Digits : 5"}));
    status.Warning("careful");
    EXPECT_EQ(sink.take(), message("Warning", "\"careful\""));
    status.PauseWarning("careful");
    EXPECT_EQ(sink.take(), message("PauseWarning", "\"careful\"") + "<waits>");
    status.Status_LineSectionStart("Writing...");
    EXPECT_EQ(sink.take(), message("Status_LineSectionStart", "\"Writing...\""));
    status.Status_LineSectionAdd({'G', " done"});
    EXPECT_EQ(sink.take(), object("Status_LineSectionAdd", {"Color : \"G\"", "Text : \" done\""}));
    status.Status_LineSectionEnd();
    EXPECT_EQ(sink.take(), message("Status_LineSectionEnd", "\"\""));
    status.Status_ColoredLine({{'G', "a"}, {' ', "b"}});
    EXPECT_EQ(
        sink.take(),
        "{\r\n    Status_ColoredLine : {\r\n        Text : [\r\n"
        "            {\r\n                Color : \"G\"\r\n                Text : \"a\"\r\n            }\r\n"
        "            {\r\n                Color : \" \"\r\n                Text : \"b\"\r\n            }\r\n"
        "        ]\r\n    }\r\n}\r\n");
    EXPECT_EQ(console.text(), "");
}

TEST(LinearNetworkTest, SubStepsHaveNumbersAndTimes) {
    RecordingSink sink;
    LinearNetworkNode node(sink, false);
    {
        StatusSection outer(node, "Series");
        EXPECT_EQ(sink.take(),
                  object("Status_MicroSectionStart", {"MicroStatusID : 1", "Name : \"Series\""}));
        {
            StatusSection inner(outer.node(), "Division");
            EXPECT_EQ(sink.take(),
                      object("Status_MicroSectionStart", {"MicroStatusID : 2", "Name : \"Division\""}));
            EXPECT_EQ(node.get_tree().get_integer("MicroStatusID"), 2);
        }
        EXPECT_EQ(kalvor_test::without_numbers_behind("TimeMilliseconds : ", sink.take()),
                  object("Status_MicroSectionEnd", {"MicroStatusID : 2", "TimeMilliseconds : <number>"}));
        EXPECT_EQ(node.get_tree().get_integer("MicroStatusID"), 1);
    }
    EXPECT_NE(sink.take().find("MicroStatusID : 1\r\n"), std::string::npos);
    EXPECT_EQ(node.get_tree().get_integer("MicroStatusID"), 0);
    try {
        StatusSection section(node, "Fails");
        StatusFrame frame(section.node(), " 0M ");
        throw 1;
    } catch (int) {
    }
    EXPECT_EQ(sink.take(), object("Status_MicroSectionStart", {"MicroStatusID : 3", "Name : \"Fails\""}));
    EXPECT_EQ(node.get_tree().get_integer("MicroStatusID"), 0);
    StatusSection again(node, "Again");
}

TEST(LinearNetworkTest, TheTreeShowsFramesAndCounts) {
    RecordingSink sink;
    LinearNetworkNode node(sink, false);
    const auto texts = [&] {
        std::string out;
        const Config::Object tree = node.get_tree();
        const Config::Object* level = &tree.get_object("StatusTree");
        for (;;) {
            out += "[" + level->get_string("Color") + ":" + level->get_string("Text") + "]";
            const Config::Array& children = level->get_array("Children");
            if (children.size() == 0) return out;
            level = &children[0].as<Config::Object>();
        }
    };
    EXPECT_EQ(texts(), "[w:]");
    {
        StatusSection section(node, "Sum");
        sink.take();
        StatusFrame a(section.node(), " 0M ", 'T');
        StatusFrame b(a.node(), " x ");
        EXPECT_EQ(texts(), "[w:][T: 0M ][w: x ]");
        {
            StatusIteration iteration(b.node(), Status::IterationMode::percentage, 7);
            iteration.update(3);
            EXPECT_EQ(texts(), "[w:][T: 0M ][w: x ][w:42 %]");
        }
        StatusIteration iteration(b.node(), Status::IterationMode::count, 25);
        iteration.update(4);
        EXPECT_EQ(texts(), "[w:][T: 0M ][w: x ][w:(4 / 25)]");
        b.node().refresh(true);
        EXPECT_EQ(sink.take(), "");  // progress is asked for, never sent
    }
    EXPECT_EQ(texts(), "[w:]");
}

// The thread that answers the client looks at the tree while the computation changes it.
TEST(LinearNetworkTest, TheTreeMayBeReadFromAnotherThread) {
    RecordingSink sink;
    LinearNetworkNode node(sink, false);
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            const Config::Object tree = node.get_tree();
            ASSERT_EQ(tree.get_object("StatusTree").get_string("Text"), "");
        }
    });
    for (u64 i = 0; i < 3000; i++) {
        StatusFrame frame(node, " 0M ", i);
        StatusIteration iteration(frame.node(), Status::IterationMode::count, i);
        iteration.update(i);
    }
    stop = true;
    reader.join();
}

TEST(LinearNetworkTest, PrintsLocallyWhatTheConsoleWould) {
    const auto report = [](Status& status) {
        status.Status_Line("line");
        status.Status_ColoredLine({{'G', "a"}, {'Y', "b"}});
        status.Status_Label(10, "Name:", {'T', "v"});
        status.Status_Time("T", 1.5);
        status.Warning("w");
        status.Status_LineSectionStart("s");
        status.Status_LineSectionAdd({'G', "p"});
        status.Status_LineSectionEnd();
        StatusFrame frame(status, " 0M ", u64(12));
        StatusIteration iteration(frame.node(), Status::IterationMode::count, 3);
        iteration.update(1);
        status.refresh(true);
        status.Data_(Output());
    };
    CaptureConsole console(CaptureConsole::terminal, true);
    RecordingSink sink;
    {
        LinearNetworkNode node(sink, true, 40, 1e6);
        report(node);
    }
    const std::string here = console.take();
    {
        LinearConsoleNode node(40, 1e6);
        report(node);
    }
    EXPECT_EQ(here, console.take());
    LinearNetworkNode node(sink, true, 40, 1e6);
    node.PauseWarning("careful");
    EXPECT_EQ(console.take(), "\n{R}careful\n{w}");  // the client answers, no key is waited for
    {
        StatusSection section(node, "Step");
        EXPECT_EQ(console.take(), "Step\n");
    }
    EXPECT_EQ(console.take().substr(0, 15), "{w}Time:    {Y}");
}

TEST(LinearNetworkTest, AFatalErrorIsSentBeforeTheEnd) {
    class Printing final : public StatusSink {
      public:
        void send(const Config::Object& message) override { std::fputs(message.to_acfg().c_str(), stderr); }
        void wait_for_continue() override {}
    };
    Printing sink;
    for (const bool local : {false, true}) {
        EXPECT_EXIT(
            {
                print_to_stderr();
                Console::set_pause_before_fatal_exit(false);
                LinearNetworkNode(sink, local).FatalError("broken");
            },
            testing::ExitedWithCode(1),
            local ? "FatalError : \"broken\"\r\n\\}\r\n\nbroken\nFatal error encountered. Terminating "
                    "program.\n$"
                  : "FatalError : \"broken\"\r\n\\}\r\n$");
    }
}

TEST(LinearNetworkTest, MisuseIsRefused) {
    RecordingSink sink;
    LinearNetworkNode node(sink, false);
    const std::string none = "Attempted to pop a non-existent node.";
    const std::string fork = "Attempted to fork a linear status chain.";
    expect_throws([&] { node.pop_frame(); }, "LinearNetworkNode::pop_frame()", none);
    expect_throws([&] { node.Status_MicroSectionEnd(); }, "LinearNetworkNode::Status_MicroSectionEnd()",
                  none);
    Status& child = node.push_node({'w', "x"});
    const auto push = [](Status& status) { return [&] { status.push_node({'w', "y"}); }; };
    expect_throws(push(node), "LinearNetworkNode::push_node()", fork);
    expect_throws([&] { node.Status_MicroSectionStart("s"); },
                  "LinearNetworkNode::Status_MicroSectionStart()", fork);
    auto& iteration =
        dynamic_cast<LinearNetworkIteration&>(child.make_iteration(Status::IterationMode::count, 3));
    iteration.update(2);
    EXPECT_EQ(iteration.get_completed(), 2u);
    expect_throws([&] { child.make_iteration(Status::IterationMode::count, 3); },
                  "LinearNetworkNode::make_iteration()", fork);
    child.pop_frame();
    node.pop_frame();
    expect_throws([&] { node.pop_frame(); }, "LinearNetworkNode::pop_frame()", none);
    EXPECT_EQ(sink.take(), "");
}

TEST(DataRecordsTest, TheConsoleShowsNothing) {
    CaptureConsole console;
    LinearConsoleNode node(79, 1.0);
    static_cast<Status&>(node).Data_(Output());
    null_status().Data_(Output());
    EXPECT_EQ(console.text(), "");
}
