// A setting that stands in the list of its object is found in all five operations; each kind of setting.
#include <gtest/gtest.h>

#include <string>

#include "base/config/parser.h"
#include "base/errors/exceptions.h"
#include "base/settings/choices.h"
#include "base/settings/number_setting.h"
#include "base/settings/optional_flag.h"
#include "support/capture_console.h"

using namespace trel;

namespace {

constexpr NumberSetting::Rules kCount{.prompt = "How many? ", .least = 2, .most = 9};
constexpr WordSetting::Word kShapes[] = {{"round", "Round shape", 'G'}, {"flat", "Flat shape", 'R'}};

// Its rows can be left out, so that what one row adds can be seen.
class Plates final : public SettingsObject {
  public:
    explicit Plates(SettingList (*list)(Plates&)) : SettingsObject("Plates", 20), list_(list) {}

    NumberSetting count{"Count", "    Count:", kCount, 4};
    SwitchSetting hot{"Hot", "    Temperature: ", {"Hot", 'R'}, {"Cold", 'T'}, false};
    WordSetting shape{"Shape", "    Shape:", kShapes, {"shape()", "No such shape: {}"}, 0};
    OptionalFlag spoons{"Spoons", "    Spoons:"};

  private:
    SettingList settings() override { return list_(*this); }

    SettingList (*list_)(Plates&);
};

SettingList without_count(Plates& p) {
    return {&p.hot, &p.shape, &p.spoons};
}
SettingList with_count(Plates& p) {
    return {&p.hot, &p.shape, &p.spoons, &p.count};
}

std::string one_line(const Config::Object& object) {
    std::string line;
    for (const char c : object.to_json()) {
        if (c != '\r' && c != '\n') line += c;
    }
    while (line.find("  ") != std::string::npos) line.erase(line.find("  "), 1);
    return line;
}

std::string selector_of(const SettingsObject& settings) {
    Config::Object object;
    settings.add_selectors(object);
    return one_line(object);
}

std::string menu_of(const SettingsObject& settings, u64 first, u64 lines) {
    CaptureConsole console(CaptureConsole::terminal, true);
    EXPECT_EQ(settings.print(first), first + lines);
    return console.take();
}

template <class F>
std::string refusal_of(F f) {
    try {
        f();
    } catch (const StringException& e) {
        return std::string(e.get_typename()) + "|" + e.function + "|" + e.message;
    }
    return "nothing thrown";
}

std::string refusal_of_loading(const std::string& acfg) {
    return refusal_of([&] {
        Plates plates(with_count);
        plates.load(Config::parse_acfg(acfg)->as<Config::Object>());
    });
}

}  // namespace

TEST(SettingsObjectTest, ASettingAddedToTheListIsInAllFiveOperations) {
    Plates before(without_count), after(with_count);
    const auto file =
        Config::parse_acfg("{ Hot : \"true\" Shape : \"flat\" Spoons : \"forced\" Count : 7 Other : [] }");
    before.load(file->as<Config::Object>());
    after.load(file->as<Config::Object>());
    EXPECT_EQ(before.count.value(), 4U);
    EXPECT_EQ(after.count.value(), 7U);

    const std::string saved = "{ \"Hot\": \"true\", \"Shape\": \"flat\", \"Spoons\": \"forced\"";
    EXPECT_EQ(one_line(before.to_config()), saved + "}");
    EXPECT_EQ(one_line(after.to_config()), saved + ", \"Count\": 7}");

    const std::string selectors =
        "{ \"Hot\": { \"Value\": \"true\", \"DisplayText\": \"Hot\" },"
        " \"Shape\": { \"Value\": \"flat\", \"DisplayText\": \"Flat shape\" },"
        " \"Spoons\": { \"Value\": \"forced\", \"DisplayText\": \"Forced\" }";
    EXPECT_EQ(selector_of(before), selectors + "}");
    EXPECT_EQ(selector_of(after), selectors + ", \"Count\": { \"Value\": 7, \"DisplayText\": \"7\" }}");

    const std::string lines =
        "{w}   9    Temperature: {R}Hot{w}\n"
        "{w}  10    Shape:          {R}Flat shape{w}\n"
        "{w}  11    Spoons:         {G}Forced{w}\n";
    EXPECT_EQ(menu_of(before, 9, 3), lines);
    EXPECT_EQ(menu_of(after, 9, 4), lines + "{w}  12    Count:          {Y}7{w}\n");

    CaptureConsole console;
    console.type({"1", "10", "x", "3"});
    before.edit(3);
    EXPECT_EQ(console.take(), "");
    after.edit(3);
    EXPECT_EQ(console.take(), "How many? How many? How many? How many? ");
    EXPECT_EQ(after.count.value(), 3U);
    EXPECT_EQ(console.lines_left(), 0U);
}

TEST(SettingsObjectTest, EditingGoesToTheLineThatWasNamed) {
    Plates plates(with_count);
    CaptureConsole console;
    plates.edit(0);
    EXPECT_TRUE(plates.hot);
    plates.edit(0);
    EXPECT_FALSE(plates.hot);
    for (const char* word : {"flat", "round", "flat"}) {
        plates.edit(1);
        EXPECT_EQ(plates.shape.word(), word);
    }
    plates.edit(2);
    EXPECT_EQ(plates.spoons.mode, OptionalFlag::kForced);
    for (const u64 line : {u64(4), u64(1000), ~u64(0)}) plates.edit(line);
    EXPECT_EQ(one_line(plates.to_config()),
              "{ \"Hot\": \"false\", \"Shape\": \"flat\", \"Spoons\": \"forced\", \"Count\": 4}");
    EXPECT_EQ(console.take(), "");
}

TEST(SettingsObjectTest, TheMenuMayHaveAHeadingAndAnOrderOfItsOwn) {
    struct Reversed final : SettingsObject {
        Reversed() : SettingsObject("", 0) {}
        SettingList settings() override { return {&first, &second}; }
        SettingList menu() override { return {&second, &first}; }
        void print_heading() const override { Console::print_line("Heading"); }

        SwitchSetting first{"First", " A: ", {"on", ' '}, {"off", ' '}, false};
        SwitchSetting second{"Second", " B: ", {"on", ' '}, {"off", ' '}, false};
    };
    Reversed object;
    object.edit(0);
    EXPECT_EQ(one_line(object.to_config()), "{ \"First\": \"false\", \"Second\": \"true\"}");
    CaptureConsole console;
    EXPECT_EQ(object.print(1), 3U);
    EXPECT_EQ(console.take(), "Heading\n   1 B: on\n   2 A: off\n");
}

TEST(SettingsObjectTest, SettingsOfTheFileAloneMayBeMissingAndAreSavedWhenTheyAreNotTheDefault) {
    struct Box final : SettingsObject {
        Box() : SettingsObject("Box", 0) {}
        SettingList settings() override { return {&open}; }
        SettingList file_only() override { return {&shape}; }

        SwitchSetting open{"Open", " Open: ", {"on", ' '}, {"off", ' '}, false};
        WordSetting shape{"Shape", " Shape:", kShapes, {"", "No {} shape."}, 0};
    };
    const auto loaded = [](const std::string& acfg) {
        Box box;
        box.load(Config::parse_acfg(acfg)->as<Config::Object>());
        return box;
    };
    EXPECT_EQ(one_line(loaded("{ Open : \"true\" }").to_config()), "{ \"Open\": \"true\"}");
    EXPECT_EQ(one_line(loaded("{ Open : \"true\" Shape : \"round\" }").to_config()), "{ \"Open\": \"true\"}");
    const Box flat = loaded("{ Open : \"true\" Shape : \"flat\" }");
    EXPECT_EQ(one_line(flat.to_config()), "{ \"Open\": \"true\", \"Shape\": \"flat\"}");
    EXPECT_EQ(selector_of(flat), "{ \"Open\": { \"Value\": \"true\", \"DisplayText\": \"on\" }}");
    EXPECT_EQ(menu_of(flat, 1, 1), "{w}   1 Open: on{w}\n");
    EXPECT_EQ(refusal_of([&] { loaded("{ Open : \"true\" Shape : \"square\" }"); }),
              "InvalidParametersException||No square shape.");
}

TEST(SettingsObjectTest, CopiesAreIndependent) {
    Plates plates(with_count);
    Plates copy = plates;
    copy.edit(0);
    copy.count.set(9);
    EXPECT_FALSE(plates.hot);
    EXPECT_EQ(plates.count.value(), 4U);
    EXPECT_EQ(one_line(copy.to_config()),
              "{ \"Hot\": \"true\", \"Shape\": \"round\", \"Spoons\": \"attempt\", \"Count\": 9}");
}

TEST(SettingsObjectTest, RefusalsNameTheObject) {
    EXPECT_EQ(refusal_of_loading("{ Hot : 1 }"), "ParseException||Plates: Expected String, got Integer.");
    EXPECT_EQ(refusal_of_loading("{ Hot : \"yes\" }"), "ParseException||Expected true or false.");
    EXPECT_EQ(refusal_of_loading("{ Hot : \"true\" }"), "KeyNotFoundException||Shape");
    EXPECT_EQ(refusal_of_loading("{ Hot : \"true\" Shape : \"square\" }"),
              "InvalidParametersException|shape()|No such shape: square");
    EXPECT_EQ(refusal_of_loading("{ Hot : \"true\" Shape : \"flat\" Spoons : \"Forced\" }"),
              "InvalidParametersException|Spoons|Invalid Mode: Forced");
    EXPECT_EQ(refusal_of_loading("{ Hot : \"true\" Shape : \"flat\" Spoons : \"forced\" Count : \"7\" }"),
              "ParseException||Plates: Expected Integer, got String.");
}

TEST(NumberSettingTest, NumbersBeyondAnEndAreThatEnd) {
    const struct {
        const char* given;
        u64 taken;
    } rows[] = {{"-9223372036854775807", 2}, {"0", 2}, {"1", 2}, {"2", 2}, {"9", 9}, {"10", 9},
                {"9223372036854775807", 9}};
    for (const auto& row : rows) {
        Plates plates(with_count);
        plates.load(
            Config::parse_acfg(std::string("{ Hot : \"true\" Shape : \"flat\" Spoons : \"forced\" Count : ") +
                               row.given + " }")
                ->as<Config::Object>());
        EXPECT_EQ(plates.count.value(), row.taken) << row.given;
    }
    NumberSetting free{"N", "    N:", {.prompt = "", .zero_text = "None"}, ~u64(0)};
    EXPECT_EQ(free.display_text(), "9223372036854775807");
    free.set(0);
    EXPECT_EQ(free.display_text(), "None");
}

TEST(NumberSettingTest, TheExplanationStandsAboveTheQuestion) {
    NumberSetting number{
        "N", "    N:", {.prompt = "N = ", .title = "The Number", .explanation = "One.\nTwo."}, 1};
    CaptureConsole console(CaptureConsole::terminal, true);
    console.type({"5"});
    number.edit();
    EXPECT_TRUE(console.text().starts_with("{P}The Number\n\n{w}One.\nTwo.\n\n{w}N = ")) << console.text();
    EXPECT_EQ(number.value(), 5U);
}

// ---- parts that are chosen by name

namespace {

class Dish : public SettingsObject {
  public:
    Dish() : SettingsObject("Dish", 12) {}
    virtual std::string name() const = 0;
    virtual std::string display_name() const = 0;
    virtual std::unique_ptr<Dish> clone() const = 0;
};

class Soup final : public ChosenAs<Soup, Dish> {
  public:
    static constexpr const char* kName = "soup";
    static constexpr const char* kDisplayName = "Soup of the Day";

    NumberSetting salt{"Salt", "    Salt:", kCount, 3};

  private:
    SettingList settings() override { return {&salt}; }
};

class Bread final : public ChosenAs<Bread, Dish> {
  public:
    static constexpr const char* kName = "bread";
    static constexpr const char* kDisplayName = "Bread";
};

Choices<Dish> menu_card() {
    static constexpr const char* kOrder[] = {"soup", "bread"};
    static const ChoiceTypeOf<Soup, Dish> soup;
    static const ChoiceTypeOf<Bread, Dish> bread;
    Choices<Dish> dishes("Duplicate Dish", "No Such Dish: ", "Select a Dish:", kOrder);
    dishes.add("bread", bread);
    dishes.add("soup", soup);
    return dishes;
}

}  // namespace

TEST(ChoicesTest, AreFoundByName) {
    const Choices<Dish> dishes = menu_card();
    EXPECT_EQ(dishes.names(), (std::vector<std::string>{"soup", "bread"}));
    const auto soup = dishes.find("soup").make_default_config();
    EXPECT_EQ(soup->name(), "soup");
    EXPECT_EQ(soup->display_name(), "Soup of the Day");
    EXPECT_EQ(dishes.find("bread").display_name(), "Bread");
    EXPECT_EQ(refusal_of([&] { (void)dishes.find("salad"); }),
              "InvalidParametersException||No Such Dish: salad");
}

TEST(ChoicesTest, ReadTheirOwnKeysOfTheObject) {
    const auto object = Config::parse_acfg("{ Dish : \"soup\" Salt : 5 }");
    const auto soup = menu_card().find("soup").make_config(object->as<Config::Object>());
    EXPECT_EQ(one_line(soup->to_config()), "{ \"Salt\": 5}");
    const auto copy = soup->clone();
    dynamic_cast<Soup&>(*soup).salt.set(1);
    EXPECT_EQ(copy->name(), "soup");
    EXPECT_EQ(one_line(copy->to_config()), "{ \"Salt\": 5}");
    EXPECT_EQ(menu_card().find("bread").make_config(object->as<Config::Object>())->to_config().size(), 0U);
}

TEST(ChoicesTest, AreSelectedInAMenu) {
    CaptureConsole console;
    console.type({"2", "0"});
    EXPECT_EQ(menu_card().select()->name(), "soup");
    EXPECT_EQ(console.take(), "Select a Dish:\n   0    Soup of the Day\n   1    Bread\n\noption: option: ");
}
