// What is wrong with a settings file, told by the member.
#include "base/config/section.h"

#include <gtest/gtest.h>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "support/capture_console.h"

using namespace trel;
using namespace trel::Config;

namespace {

// What is said of this text when `read` reads it, and the exception's message.
std::string said(const std::string& text, const std::function<void(const Section&)>& read) {
    const auto root = parse_acfg(text);
    const Section section(root->as<Object>(), "", [](const std::string& key) {
        return key == "Colour" ? std::vector<std::string>{"red", "green"} : std::vector<std::string>();
    });
    CaptureConsole console;
    try {
        read(section);
    } catch (const StringException& e) {
        return console.take() + "|" + e.message;
    }
    return console.take() + "|fine";
}

void read_inner(const Section& root) {
    root.section("Inner").read([](const Object& o) {
        (void)o.get_string("Colour", "Context");
        (void)o.get_integer("Count");
        (void)o.get_bool("Switch");
    });
}

const std::string kSee = "\nSee \"kalvor help config\".\n";

}  // namespace

TEST(ConfigSectionTest, NamesTheMember) {
    EXPECT_EQ(said("{Inner : {Colour : \"red\" Count : 5 Switch : \"true\"} }", read_inner), "|fine");
    EXPECT_EQ(said("{}", read_inner), "\nInner is missing." + kSee + "|Inner");
    EXPECT_EQ(said("{Inner : [] }", read_inner),
              "\nInner: a list stands there. An object in { } belongs there." + kSee +
                  "|Expected Object, got Array.");
    EXPECT_EQ(said("{Inner : {} }", read_inner),
              "\nInner.Colour is missing. Known: red, green." + kSee + "|Colour");
    EXPECT_EQ(
        said("{Inner : {Colour : 7 } }", read_inner),
        "\nInner.Colour: the number 7 stands there. A text in quotes belongs there. Known: red, green." +
            kSee + "|Context: Expected String, got Integer.");
    EXPECT_EQ(said("{Inner : {Colour : \"red\" Count : \"5\"} }", read_inner),
              "\nInner.Count: the text \"5\" stands there. A number without quotes belongs there." + kSee +
                  "|Expected Integer, got String.");
    EXPECT_EQ(said("{Inner : {Colour : \"red\" Count : 5 Switch : \"on\"} }", read_inner),
              "\nInner.Switch: the text \"on\" stands there. \"true\" or \"false\" belongs there, with the "
              "quotes." +
                  kSee + "|Expected true or false.");
    EXPECT_EQ(said("{Inner : {} Other : {} }",
                   [](const Section& root) { root.read([](const Object& o) { o.check_keys({"Inner"}); }); }),
              "\nThere is no setting Other." + kSee + "|Invalid Key: Other");
}

TEST(ConfigSectionTest, AValueThatItsReaderRefuses) {
    const auto refuse = [](const Section& root) {
        root.read([](const Object& o) {
            throw InvalidParametersException("", "Invalid Colour: " + o.get_string("Colour"));
        });
    };
    EXPECT_EQ(said("{Colour : \"gren\"}", refuse),
              "\nColour: the text \"gren\" stands there. Did you mean \"green\"? Known: red, green." + kSee +
                  "|Invalid Colour: gren");
    // Before any member was asked for.
    EXPECT_EQ(said("{}",
                   [](const Section& root) {
                       root.read([](const Object&) -> void { throw StringException("", "no"); });
                   }),
              "\nThe file cannot be used." + kSee + "|no");
}
