#include "base/config/node.h"

#include <gtest/gtest.h>

#include <functional>

#include "config_support.h"
#include "support/message_of.h"

using namespace trel;
using namespace trel::Config;
using kalvor_test::Form;
using kalvor_test::message_of;

namespace {

// A node whose tag is none of the four.
class OfNoType final : public Node {
  public:
    OfNoType() : Node(static_cast<NodeType>(4)) {}
    void append_acfg(std::string&, u64) const override {}
    void append_json(std::string&, bool, u64) const override {}
    std::unique_ptr<Node> move_clone() override { return clone(); }
    std::unique_ptr<Node> clone() const override { return std::make_unique<OfNoType>(); }
};

}  // namespace

TEST(ConfigObjectTest, KeepsTheOrderOfItsMembers) {
    Object o;
    o.add_integer("z", 1);
    o.add_string("a", "x");
    o.add_string("m", "true");
    o.add_object("o").add_integer("i", -5);
    o.add_array("r").add_integer(7);
    EXPECT_EQ(
        o.to_acfg(),
        "{\r\n    z : 1\r\n    a : \"x\"\r\n    m : \"true\"\r\n    o : {\r\n        i : -5\r\n    }\r\n"
        "    r : [7]\r\n}\r\n");
    ASSERT_EQ(o.size(), 5u);
    EXPECT_EQ(o.entries()[3]->key, "o");
    EXPECT_EQ(o.get_integer("z"), 1);
    EXPECT_EQ(o.get_string("a"), "x");
    EXPECT_TRUE(o.get_bool("m"));
    EXPECT_EQ(o.get_object("o").get_integer("i"), -5);
    EXPECT_EQ(o.get_array("r")[0].as<Integer>().value, 7);
}

TEST(ConfigObjectTest, RefusesAnExistingKey) {
    Object o;
    o.add_integer("k", 1);
    const std::string text = "Attempted to add an existing key.";
    const std::string kind = "InvalidParametersException|Object::";
    EXPECT_EQ(
        message_of<StringException>(Form::with_type, [&] { o.add_node("k", std::make_unique<Integer>(2)); }),
        kind + "add_node()|" + text);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.add_integer("k", 2); }),
              kind + "add_integer()|" + text);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.add_string("k", "2"); }),
              kind + "add_string()|" + text);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.add_object("k"); }),
              kind + "add_object()|" + text);
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.add_array("k"); }),
              kind + "add_array()|" + text);
    EXPECT_EQ(o.size(), 1u);
    EXPECT_EQ(o.get_integer("k"), 1);
}

TEST(ConfigObjectTest, GettersNameWhatIsWrong) {
    Object o;
    o.add_string("s", "yes");
    o.add_integer("i", 1);
    o.add_array("a");
    o.add_object("o");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get("Key"); }),
              "KeyNotFoundException||Key");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_bool("Key"); }),
              "KeyNotFoundException||Key");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_object("s"); }),
              "ParseException||Expected Object, got String.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_object("s", "Memory"); }),
              "ParseException||Memory: Expected Object, got String.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_integer("a", "Size"); }),
              "ParseException||Size: Expected Integer, got Array.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_string("o"); }),
              "ParseException||Expected String, got Object.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_array("i"); }),
              "ParseException||Expected Array, got Integer.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_bool("i", "Switch"); }),
              "ParseException||Switch: Expected String, got Integer.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_bool("s", "Switch"); }),
              "ParseException||Expected true or false.");
    for (const char* text : {"True", "FALSE", "", "1", "true ", "truefalse"}) {
        Object other;
        other.add_string("b", text);
        EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { other.get_bool("b"); }),
                  "ParseException||Expected true or false.")
            << text;
    }
    Object off;
    off.add_string("b", "false");
    EXPECT_FALSE(off.get_bool("b"));
    EXPECT_STREQ(type_name(static_cast<NodeType>(4)), "invalid type");
    o.add_node("x", std::make_unique<OfNoType>());
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_integer("x"); }),
              "ParseException||Expected Integer, got invalid type.");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.get_bool("x", "Switch"); }),
              "ParseException||Switch: Expected String, got invalid type.");
    for (const auto& get : {std::function<void()>([&] { o.get_integer("Key", "c"); }),
                            std::function<void()>([&] { o.get_string("Key", "c"); }),
                            std::function<void()>([&] { o.get_array("Key", "c"); }),
                            std::function<void()>([&] { o.get_object("Key", "c"); }),
                            std::function<void()>([&] { o.get_bool("Key", "c"); })}) {
        EXPECT_EQ(message_of<StringException>(Form::with_type, get), "KeyNotFoundException||Key");
    }
}

TEST(ConfigObjectTest, ChecksItsKeysInTheirOrder) {
    Object o;
    o.add_integer("b", 1);
    o.add_integer("x", 1);
    o.add_integer("a", 1);
    o.check_keys({"a", "b", "x", "more"});
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.check_keys({"b"}); }),
              "InvalidParametersException||Invalid Key: x");
    EXPECT_EQ(message_of<StringException>(Form::with_type, [&] { o.check_keys({}); }),
              "InvalidParametersException||Invalid Key: b");
    Object().check_keys({});
}

TEST(ConfigNodeTest, ClonesAreDeepAndMovesLeaveNothing) {
    Object o;
    o.comment = "all";
    o.add_string("s", "a string that is longer than the small ones", "with a comment");
    o.add_array("a").add_object().add_integer("i", 3);
    const std::string text = o.to_acfg();
    const auto copy = o.clone();
    EXPECT_EQ(copy->to_acfg(), text);
    EXPECT_EQ(text.substr(0, 14), "{   //  all\r\n\r");
    o.add_integer("more", 1);
    EXPECT_EQ(copy->to_acfg(), text);
    const auto moved = copy->move_clone();
    EXPECT_EQ(moved->to_acfg(), text);
    EXPECT_EQ(copy->to_acfg(), "{}");
    EXPECT_FALSE(copy->as<Object>().contains("s"));
    EXPECT_EQ(moved->as<Object>().get_string("s"), "a string that is longer than the small ones");
    // The emptied object is as good as a new one.
    copy->as<Object>().add_integer("s", 1);
    EXPECT_EQ(copy->as<Object>().get_integer("s"), 1);

    String s("text that does not fit into the string object itself");
    EXPECT_EQ(s.move_clone()->as<String>().value, "text that does not fit into the string object itself");
    EXPECT_EQ(s.value, "");
    Array a;
    a.add_string("x");
    EXPECT_EQ(a.move_clone()->to_acfg(), "[\"x\"]");
    EXPECT_EQ(a.size(), 0u);
    EXPECT_EQ(Integer(5).clone()->to_acfg(), "5");
}

TEST(ConfigWriterTest, IntegersAndStrings) {
    EXPECT_EQ(Integer(0).to_acfg(), "0");
    EXPECT_EQ(Integer(-9223372036854775807 - 1).to_acfg(), "-9223372036854775808");
    EXPECT_EQ(Integer(12).to_json(true), "12,");
    EXPECT_EQ(String("a\"b\\c\n/").to_acfg(), "\"a\\\"b\\\\c\n/\"");
    EXPECT_EQ(String("x").to_json(true), "\"x\",");
    EXPECT_EQ(String("x").to_json(), "\"x\"");
}

TEST(ConfigWriterTest, ArraysAreInlineForIntegersAndForOneString) {
    Array a;
    EXPECT_EQ(a.to_acfg(), "[]");
    EXPECT_EQ(a.to_json(), "[]");
    EXPECT_EQ(a.to_json(true), "[],");
    a.add_integer(1);
    a.add_integer(-2);
    a.add_integer(3);
    EXPECT_EQ(a.to_acfg(), "[1 -2 3]");
    EXPECT_EQ(a.to_json(), "[1, -2, 3]");
    EXPECT_EQ(a.to_json(true), "[1, -2, 3],");
    a.add_string("s");
    EXPECT_EQ(a.to_acfg(1), "[\r\n        1\r\n        -2\r\n        3\r\n        \"s\"\r\n    ]\r\n");
    EXPECT_EQ(a.to_json(true, 1),
              "[\r\n        1,\r\n        -2,\r\n        3,\r\n        \"s\"\r\n    ],\r\n");
    Array one;
    one.add_string("s");
    EXPECT_EQ(one.to_acfg(), "[\"s\"]");
    EXPECT_EQ(one.to_json(), "[\"s\"]");
    one.add_string("t");
    EXPECT_EQ(one.to_acfg(), "[\r\n    \"s\"\r\n    \"t\"\r\n]\r\n");
    EXPECT_EQ(one.to_json(), "[\r\n    \"s\",\r\n    \"t\"\r\n]\r\n");
    Array lonely;  // one element that is not a string
    lonely.add_object().add_integer("i", 2);
    EXPECT_EQ(lonely.to_acfg(), "[\r\n    {\r\n        i : 2\r\n    }\r\n]\r\n");
    lonely.elements.clear();
    lonely.add_array();
    EXPECT_EQ(lonely.to_acfg(), "[\r\n    []\r\n]\r\n");
    EXPECT_EQ(lonely.to_json(), "[\r\n    []\r\n]\r\n");
    Array nested;
    nested.add_array();
    nested.add_array().add_integer(1);
    nested.add_object();
    nested.add_object().add_integer("i", 2);
    EXPECT_EQ(nested.to_acfg(),
              "[\r\n    []\r\n    [1]\r\n    {}\r\n    {\r\n        i : 2\r\n    }\r\n]\r\n");
    EXPECT_EQ(nested.to_json(),
              "[\r\n    [],\r\n    [1],\r\n    {},\r\n    {\r\n        \"i\": 2\r\n    }\r\n]\r\n");
}

// Readers of JSON refuse them raw; acfg keeps them as they are.
TEST(ConfigWriterTest, JsonEscapesEveryControlCharacter) {
    std::string all;
    for (int c = 1; c < 0x20; c++) all += static_cast<char>(c);
    all += "\x7f\"\\ \xc3\xa9";
    const std::string text = String(all).to_json();
    for (const char c : text) EXPECT_TRUE(static_cast<unsigned char>(c) >= 0x20 && c != 0x7f);
    EXPECT_EQ(text.substr(0, 13), "\"\\u0001\\u0002");
    EXPECT_NE(text.find("\\t\\n\\u000b\\u000c\\r\\u000e"), std::string::npos) << text;
    EXPECT_NE(text.find("\\u001f\\u007f\\\"\\\\ \xc3\xa9\""), std::string::npos) << text;
    EXPECT_EQ(String("a\nb").to_acfg(), "\"a\nb\"");
    Object o;
    o.add_integer("k\"\n", 1);
    EXPECT_EQ(o.to_json(), "{\r\n    \"k\\\"\\n\": 1\r\n}\r\n");
}

TEST(ConfigWriterTest, ObjectsAndTheirComments) {
    Object o;
    o.comment = "nothing to say it to";
    EXPECT_EQ(o.to_acfg(), "{}");
    EXPECT_EQ(o.to_json(), "{}");
    EXPECT_EQ(o.to_json(true), "{},");
    o.comment = "of the object";
    o.add_integer("a", 1, "one line");
    o.add_integer("b", 2, "two\nlines");
    o.add_object("c", "ends in a feed\n").add_integer("d", 4, "inner\r\n");
    EXPECT_EQ(o.to_acfg(),
              "{   //  of the object\r\n"
              "\r\n"
              "    //  one line\r\n"
              "    a : 1\r\n"
              "\r\n"
              "    //  two\n"
              "    //  lines\r\n"
              "    b : 2\r\n"
              "\r\n"
              "    //  ends in a feed\n"
              "    c : {\r\n"
              "\r\n"
              "        //  inner\r\n"
              "        d : 4\r\n"
              "    }\r\n"
              "}\r\n");
    EXPECT_EQ(o.to_json(),
              "{\r\n    \"a\": 1,\r\n    \"b\": 2,\r\n    \"c\": {\r\n        \"d\": 4\r\n    }\r\n}\r\n");
    EXPECT_EQ(o.get_object("c").to_json(true, 1), "{\r\n        \"d\": 4\r\n    },\r\n");
    EXPECT_EQ(kalvor_test::acfg(o.to_acfg()),
              "{\r\n    a : 1\r\n    b : 2\r\n    c : {\r\n        d : 4\r\n    }\r\n}\r\n");
}
