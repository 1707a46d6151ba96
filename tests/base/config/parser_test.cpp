#include "base/config/parser.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <random>

#include "config_support.h"
#include "support/small_stack.h"

using namespace trel;
using namespace trel::Config;
using kalvor_test::acfg;
using kalvor_test::error;
using kalvor_test::json;
using kalvor_test::kEnd;

namespace {

const std::string kTwo = "{\r\n    A : 1\r\n    B : 2\r\n}\r\n";

}  // namespace

// ---- what both forms share

TEST(ConfigTextTest, Integers) {
    for (const auto parse : {acfg, json}) {
        EXPECT_EQ(parse("[9223372036854775807]"), "[9223372036854775807]");
        EXPECT_EQ(parse("[-9223372036854775807]"), "[-9223372036854775807]");
        EXPECT_EQ(parse("[000000000000000000000000000012]"), "[12]");
        EXPECT_EQ(parse("\n[9223372036854775808]"), error(1, "Integer literal is too large."));
        EXPECT_EQ(parse("[-9223372036854775808]"), error(0, "Integer literal is too large."));
        EXPECT_EQ(parse("[92233720368547758070]"), error(0, "Integer literal is too large."));
        EXPECT_EQ(parse("[-]"), "[0]");
        EXPECT_EQ(parse("[- ]"), "[0]");
        EXPECT_EQ(parse("[x]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[true]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[1x]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[1/2]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[1.5]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[1// c\n]"), "[1]");
        EXPECT_EQ(parse("[1\"s\"]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("[--1]"), error(0, "Invalid integer literal."));
        EXPECT_EQ(parse("5 "), "5");
        EXPECT_EQ(parse("5"), kEnd);  // what ends an integer must be there
        EXPECT_EQ(parse("5//"), "5");
        EXPECT_EQ(parse("[5"), kEnd);
        EXPECT_EQ(parse("[-"), kEnd);
        EXPECT_EQ(parse("/"), error(0, "Invalid integer literal."));
    }
}

TEST(ConfigTextTest, Strings) {
    for (const auto parse : {acfg, json}) {
        EXPECT_EQ(parse("\"\""), "\"\"");
        EXPECT_EQ(parse("\"a // no comment\""), "\"a // no comment\"");
        EXPECT_EQ(parse("\"\\\"\\\\\""), "\"\\\"\\\\\"");
        EXPECT_EQ(parse("\"\xc3\xa9\xff\""), "\"\xc3\xa9\xff\"");  // bytes, whatever they mean
        EXPECT_EQ(parse("\"\\q\""), error(0, "Invalid escape character: q"));
        EXPECT_EQ(parse("\"a\nb\nc\\ \""), error(2, "Invalid escape character:  "));
        // The whole character, however many bytes it has.
        EXPECT_EQ(parse("\"\\\xc3\xa9x\""), error(0, "Invalid escape character: \xc3\xa9"));
        EXPECT_EQ(parse("\"\\\xe2\x82\xacx\""), error(0, "Invalid escape character: \xe2\x82\xac"));
        EXPECT_EQ(parse("\"\\\xf0\x9f\x98\x80x\""), error(0, "Invalid escape character: \xf0\x9f\x98\x80"));
        EXPECT_EQ(parse("\"\\\xffx\""), error(0, "Invalid escape character: \xff"));
        EXPECT_EQ(parse("[\"a\nb\" x]").substr(0, 23), "ParseException: Line 1:");
        EXPECT_EQ(parse("\"abc"), kEnd);
        EXPECT_EQ(parse("\"abc\\"), kEnd);
        EXPECT_EQ(parse("\"abc\\\""), kEnd);
        EXPECT_EQ(parse(std::string_view("\"ab\0c\"", 6)), kEnd);
        EXPECT_EQ(parse("\"root\" and whatever follows ] }"), "\"root\"");
    }
}

TEST(ConfigTextTest, EscapesOfJson) {
    const auto text = [](std::string_view in) { return parse_json(in)->as<String>().value; };
    EXPECT_EQ(text("\"\\b\\f\\n\\r\\t\\/\\\\\\\"\""), "\b\f\n\r\t/\\\"");
    EXPECT_EQ(text("\"\\u0041\\u00e9\\u20AC\\u001b\""), "A\xc3\xa9\xe2\x82\xac\x1b");
    EXPECT_EQ(text("\"\\ud83d\\ude00\""), "\xf0\x9f\x98\x80");
    EXPECT_EQ(text("\"\\u0000\"").size(), 1u);
    // Half a pair, before the end, another character, another half.
    EXPECT_EQ(text("\"\\ud83d\""), "\xef\xbf\xbd");
    EXPECT_EQ(text("\"\\ud83d\\u0041\""),
              "\xef\xbf\xbd"
              "A");
    EXPECT_EQ(text("\"\\ud83d\\ud83d\\ude00\""), "\xef\xbf\xbd\xf0\x9f\x98\x80");
    EXPECT_EQ(text("\"\\ude00x\""), "\xef\xbf\xbdx");
    for (const char* wrong : {"\"\\u12\"", "\"\\u12g4\"", "\"\\u+123\""}) {
        EXPECT_EQ(json(wrong), error(0, "Invalid escape character: u")) << wrong;
    }
    EXPECT_EQ(json("\"\\u12"), kEnd);
    for (const char* letter : {"n", "t", "u0041", "/"}) {
        EXPECT_EQ(acfg(std::string("\"\\") + letter + "\""),
                  error(0, std::string("Invalid escape character: ") + letter[0]));
    }
}

TEST(ConfigTextTest, LinesAreCountedByTheirFeeds) {
    for (const auto parse : {acfg, json}) {
        EXPECT_EQ(parse("\r\n\r\n ]"), error(2, "Unexpected ']'."));
        EXPECT_EQ(parse("// a\n// b\n\t}"), error(2, "Unexpected '}'."));
        EXPECT_EQ(parse("\r\r]"), error(0, "Unexpected ']'."));
        EXPECT_EQ(parse(""), kEnd);
        EXPECT_EQ(parse(" \r\n\t// only a comment"), kEnd);
        EXPECT_EQ(parse("["), kEnd);
        EXPECT_EQ(parse("{"), kEnd);
        EXPECT_EQ(parse("[[]"), kEnd);
        EXPECT_EQ(parse(std::string_view("[1 \0]", 5)), kEnd);
    }
}

TEST(ConfigTextTest, NestingHasALimit) {
    const auto nested = [](u64 depth, const std::string& open, const std::string& close) {
        std::string text;
        for (u64 i = 0; i < depth; i++) text += open;
        for (u64 i = 0; i < depth; i++) text += close;
        return text;
    };
    const std::string refusal = error(0, "Nesting is deeper than 8256 levels.");
    for (const auto parse : {acfg, json}) {
        EXPECT_NE(parse(nested(kMaxDepth, "[", "]")), refusal);
        EXPECT_EQ(parse(nested(kMaxDepth + 1, "[", "]")), refusal);
        EXPECT_EQ(parse(nested(1000000, "[", "]")), refusal);
        EXPECT_EQ(parse(nested(1000000, "[", "")), refusal);
        // Closed levels do not count.
        std::string many = "[";
        for (int i = 0; i < 1000; i++) many += i == 0 || parse == acfg ? "[]" : ",[]";
        EXPECT_EQ(parse(many + "]").substr(0, 3), "[\r\n");
    }
    EXPECT_EQ(acfg(nested(1000000, "{a:", "}")), refusal);
    EXPECT_EQ(json(nested(1000000, "{\"a\":", "}")), refusal);
    EXPECT_NE(acfg(nested(kMaxDepth - 1, "{a:", "") + "{}" + nested(kMaxDepth - 1, "", "}")), refusal);
    EXPECT_EQ(acfg(nested(kMaxDepth, "{a:", "") + "{}" + nested(kMaxDepth, "", "}")), refusal);
}

// 2000 nodes of a formula within each other, each with the four levels of a local of a scope; the same as
// JSON; arrays alone. Blanks make a written text of that depth 200 MB long, so that one of them is enough.
TEST(ConfigTextTest, DeepTreesFitASmallStack) {
    const auto nested = [](u64 n, const std::string& open, const std::string& close) {
        std::string text;
        for (u64 i = 0; i < n; i++) text += open;
        text += "1 ";
        for (u64 i = 0; i < n; i++) text += close;
        return text;
    };
    const std::string nodes = nested(2000, "{Scope:{Locals:[{x:", "}]Formula:\"x\"}}");
    const std::string objects = nested(2000, R"({"Scope":{"Locals":[{"x":)", "}]}}");
    const std::string arrays = nested(kMaxDepth, "[", "]");
    kalvor_test::run_on_small_stack([&] {
        for (const std::string* const text : {&nodes, &objects, &arrays}) {
            std::unique_ptr<Node> tree = text == &objects ? parse_json(*text) : parse_acfg(*text);
            const std::unique_ptr<Node> copy = tree->clone();
            tree.reset();
            const std::unique_ptr<Node> moved = copy->move_clone();
            if (text != &nodes) continue;
            std::string written = moved->to_acfg();
            std::erase_if(written, [](char c) { return c == ' ' || c == '\r' || c == '\n'; });
            std::string want = *text;
            std::erase(want, ' ');
            EXPECT_TRUE(written == want);
        }
        EXPECT_EQ(acfg(std::string(kMaxDepth, '[')), kEnd);
    });
}

// ---- acfg

TEST(AcfgTest, MembersStandSideBySide) {
    EXPECT_EQ(acfg("{A : 1 B : 2}"), kTwo);
    EXPECT_EQ(acfg("{A:1\r\nB:2}"), kTwo);
    EXPECT_EQ(acfg("{\n//c\nA//c\n : //c\n 1//c\n B\r\n:2 } trailing"), kTwo);
    EXPECT_EQ(acfg("{A : 1, B : 2}"), error(0, "Don't use commas to separate elements."));
    EXPECT_EQ(acfg("{A : \"x\", B : 2}"), error(0, "Invalid character in identifier."));
    EXPECT_EQ(acfg("[1, 2]"), error(0, "Don't use commas to separate elements."));
    EXPECT_EQ(acfg("[\"x\", 2]"), error(0, "Don't use commas to separate elements."));
    EXPECT_EQ(acfg("{A : ,}"), error(0, "Don't use commas to separate elements."));
    EXPECT_EQ(acfg(","), error(0, "Don't use commas to separate elements."));
    EXPECT_EQ(acfg("[1 2\t-3\n\"x\"[]{}]"),
              "[\r\n    1\r\n    2\r\n    -3\r\n    \"x\"\r\n    []\r\n    {}\r\n]\r\n");
    EXPECT_EQ(acfg("{A : \"true\"B : 2}"), "{\r\n    A : \"true\"\r\n    B : 2\r\n}\r\n");
    EXPECT_EQ(acfg("{A : 1B : 2}"), error(0, "Invalid integer literal."));
}

TEST(AcfgTest, ObjectErrors) {
    EXPECT_EQ(acfg("{A 1}"), error(0, "Expected colon after identifier."));
    EXPECT_EQ(acfg("{A}"), error(0, "Invalid character in identifier."));
    EXPECT_EQ(acfg("{A }"), error(0, "Expected colon after identifier."));
    EXPECT_EQ(acfg("{\n: 1}"), error(1, "Expected identifier."));
    EXPECT_EQ(acfg("{\"A\" : 1}"), error(0, "Expected identifier."));
    EXPECT_EQ(acfg("{A : }"), error(0, "Unexpected '}'."));
    EXPECT_EQ(acfg("{A : ]"), error(0, "Unexpected ']'."));
    EXPECT_EQ(acfg("[}"), error(0, "Unexpected '}'."));
    EXPECT_EQ(acfg("{]"), error(0, "Invalid character in identifier."));
    EXPECT_EQ(acfg("{A : 1\nB : 2\nA : 3\n\n}"), error(2, "Duplicate key in object."));
    EXPECT_EQ(acfg("{A : {A : {}}}"), "{\r\n    A : {\r\n        A : {}\r\n    }\r\n}\r\n");
}

TEST(AcfgTest, Identifiers) {
    EXPECT_EQ(acfg("{aZ09!#$%&'()*+-./=?@^_|~:1}"), "{\r\n    aZ09!#$%&'()*+-./=?@^_|~ : 1\r\n}\r\n");
    for (const char c : std::string(",;<>[]{}`\x7f\x01\xc3")) {
        EXPECT_EQ(acfg(std::string("{A") + c + " : 1}"), error(0, "Invalid character in identifier.")) << c;
    }
    // A comment within an identifier is skipped with its line end; the identifier goes on.
    EXPECT_EQ(acfg("{ab//comment\ncd : 1}"), "{\r\n    abcd : 1\r\n}\r\n");
    EXPECT_EQ(acfg("{ab//comment\n : 1 x}"), error(1, "Invalid character in identifier."));
    EXPECT_EQ(acfg("{a\\\"b\\\\c : 1}"), "{\r\n    a\"b\\c : 1\r\n}\r\n");
    EXPECT_EQ(acfg("{a\\b : 1}"), error(0, "Invalid escape character: b"));
    EXPECT_EQ(acfg("{a\"b\" : 1}"), error(0, "Expected colon after identifier."));
    EXPECT_EQ(acfg("{a\r: 1}"), "{\r\n    a : 1\r\n}\r\n");
    EXPECT_EQ(acfg("{a\r\n\n: ]}"), error(2, "Unexpected ']'."));
    EXPECT_EQ(acfg("{a\n: ]}"), error(1, "Unexpected ']'."));
    EXPECT_EQ(acfg("{a"), kEnd);
    EXPECT_EQ(acfg("{a//"), kEnd);
    EXPECT_EQ(acfg("{a\\"), kEnd);
    EXPECT_EQ(acfg("{a :"), kEnd);
    EXPECT_EQ(acfg("{a : 1 "), kEnd);
    // A key with a blank is two words to the reader.
    Object o;
    o.add_integer("a b", 1);
    EXPECT_EQ(acfg(o.to_acfg()), error(1, "Expected colon after identifier."));
}

// The example that docs/formats.md gives.
TEST(AcfgTest, TheExampleOfTheDocumentation) {
    std::ifstream in(std::string(KALVOR_SOURCE_FOLDER) + "/docs/formats.md");
    const std::string page((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const size_t chapter = page.find("## Settings text (acfg)");
    const size_t begin = page.find("```\n", chapter), end = page.find("```", begin + 4);
    ASSERT_NE(end, std::string::npos);
    EXPECT_EQ(acfg(page.substr(begin + 4, end - begin - 4)),
              "{\r\n    Action : \"CustomCompute\"\r\n    CustomCompute : {\r\n        Path : \"C:/temp\"\r\n"
              "        EnableHexDigits : \"false\"\r\n        Cores : [0 1 2 3]\r\n    }\r\n}\r\n");
}

// ---- JSON

TEST(JsonTest, Commas) {
    EXPECT_EQ(json("{\"A\": 1, \"B\": 2}"), kTwo);
    EXPECT_EQ(json("{ // c\n\"A\"//c\n:1//c\n,//c\n\"B\":2//c\n}"), kTwo);
    EXPECT_EQ(json("[1, 2,3 , 4]"), "[1 2 3 4]");
    EXPECT_EQ(json("[1, 2,]"), error(0, "Unexpected ']'."));
    EXPECT_EQ(json("[,1]"), error(0, "Unexpected ','."));
    EXPECT_EQ(json("[1,,2]"), error(0, "Unexpected ','."));
    EXPECT_EQ(json("[1 2]"), error(0, "Expected ',' before identifier."));
    EXPECT_EQ(json("[1}"), error(0, "Expected ',' before identifier."));
    EXPECT_EQ(json("[}"), error(0, "Unexpected '}'."));
    EXPECT_EQ(json("[1, }"), error(0, "Unexpected '}'."));
    EXPECT_EQ(json(","), error(0, "Unexpected ','."));
    EXPECT_EQ(json("{\"A\": ,}"), error(0, "Unexpected ','."));
    EXPECT_EQ(json("{,\"A\": 1}"), error(0, "Unexpected ','."));
    EXPECT_EQ(json("{\"A\": 1,,\"B\": 2}"), error(0, "Unexpected ','."));
    EXPECT_EQ(json("{\"A\": 1,\n}"), error(1, "Unexpected '}'."));
    EXPECT_EQ(json("{\"A\": 1 \"B\": 2}"), error(0, "Expected ',' before object key string."));
    EXPECT_EQ(json("{\"A\": 1\"B\": 2}"), error(0, "Invalid integer literal."));
    EXPECT_EQ(json("[]"), "[]");
    EXPECT_EQ(json("{ }"), "{}");
}

TEST(JsonTest, ObjectErrors) {
    EXPECT_EQ(json("{A : 1}"), error(0, "Expected object key string."));
    EXPECT_EQ(json("{]"), error(0, "Expected object key string."));
    EXPECT_EQ(json("{\"A\": 1 B"), error(0, "Expected object key string."));
    EXPECT_EQ(json("{\"A\" 1}"), error(0, "Expected colon after object key string."));
    EXPECT_EQ(json("{\"A\": }"), error(0, "Unexpected '}'."));
    EXPECT_EQ(json("{\"A\": 1, \"A\": 2}"), error(0, "Duplicate key in object."));
    EXPECT_EQ(json("{\"A"), kEnd);
    EXPECT_EQ(json("{\"A\""), kEnd);
    EXPECT_EQ(json("{\"A\":"), kEnd);
    EXPECT_EQ(json("{\"A\": 1"), kEnd);
    EXPECT_EQ(json("{\"A\": 1,"), kEnd);
    EXPECT_EQ(json("[1,"), kEnd);
}

// ---- random trees: what was written is read back as the same tree, in both forms

namespace {

class RandomTree {
  public:
    explicit RandomTree(u64 seed) : random_(seed) {}

    std::unique_ptr<Node> node(int depth) {
        switch (pick(depth > 0 ? 4 : 2)) {
            case 0:
                return std::make_unique<Integer>(integer());
            case 1:
                return std::make_unique<String>(text(false));
            case 2: {
                auto array = std::make_unique<Array>();
                const u64 n = pick(5);
                const bool integers = pick(2) == 0;
                for (u64 i = 0; i < n; i++) {
                    array->add_node(integers ? std::make_unique<Integer>(integer()) : node(depth - 1));
                }
                return array;
            }
            default: {
                auto object = std::make_unique<Object>();
                object->comment = pick(2) ? "" : "comment";
                const u64 n = pick(5);
                for (u64 i = 0; i < n; i++) {
                    object->add_node("k" + std::to_string(i) + text(true), node(depth - 1),
                                     pick(2) ? "" : "some\r\ncomment");
                }
                return object;
            }
        }
    }

  private:
    u64 pick(u64 n) { return random_() % n; }
    i64 integer() {
        const i64 magnitude = static_cast<i64>(random_() >> (1 + pick(63)));
        return pick(2) ? magnitude : -magnitude;
    }
    std::string text(bool key) {
        const std::string letters = key ? "abc/_-.!" : "ab\"\\\n\r\t /,:[]{}\x1b\x01\x7f\x80\xff";
        std::string out;
        for (u64 n = pick(8); n > 0; n--) {
            const char c = letters[pick(letters.size())];
            if (key && c == '/' && !out.empty() && out.back() == '/') continue;  // that would be a comment
            out += c;
        }
        return out;
    }

    std::mt19937_64 random_;
};

}  // namespace

TEST(ConfigTextTest, RandomTreesSurviveBothForms) {
    for (u64 seed = 0; seed < 3000; seed++) {
        const auto tree = RandomTree(seed).node(5);
        // An integer at the root needs something behind it.
        const std::string acfg_text = tree->to_acfg() + "\n";
        const std::string json_text = tree->to_json() + "\n";
        const auto from_acfg = parse_acfg(acfg_text);
        const auto from_json = parse_json(json_text);
        ASSERT_EQ(from_acfg->to_json() + "\n", json_text) << "seed=" << seed;
        ASSERT_EQ(from_json->to_json() + "\n", json_text) << "seed=" << seed;
        ASSERT_EQ(from_acfg->to_acfg(), from_json->to_acfg()) << "seed=" << seed;
        ASSERT_EQ(tree->clone()->to_acfg() + "\n", acfg_text) << "seed=" << seed;
    }
}

// Lists of a million numbers, and objects of a hundred thousand members: sizes at which anything quadratic
// would be felt.
TEST(ConfigTextTest, LongListsAreReadAndWritten) {
    std::string list = "[0";
    for (int i = 1; i < 1000000; i++) list += " " + std::to_string(i % 7919);
    list += "]";
    const auto array = parse_acfg(list);
    EXPECT_EQ(array->as<Array>().size(), 1000000u);
    EXPECT_EQ(array->to_acfg(), list);
    std::string members = "{\r\n";
    for (int i = 0; i < 100000; i++)
        members += "    key" + std::to_string(i) + " : " + std::to_string(-i) + "\r\n";
    members += "}\r\n";
    const auto object = parse_acfg(members);
    EXPECT_EQ(object->to_acfg(), members);
    EXPECT_EQ(object->as<Object>().get_integer("key99999"), -99999);
    EXPECT_EQ(acfg(members.substr(0, members.size() - 3) + "key5 : 0 }"),
              error(100001, "Duplicate key in object."));
}

// Every prefix of a text ends in a tree or in an error, and never is an unfinished text taken for a whole
// one.
TEST(ConfigTextTest, EveryPrefixIsRefused) {
    const std::string acfg_text = "{ // c\r\n A : [1 -2 \"a\\\"\"] B//c\n : {C : []} D : \"\\\\\" }";
    const std::string json_text =
        "{ // c\r\n \"A\" : [1, -2, \"a\\\"\"], \"B\" : {\"C\" : []}, \"D\" : \"\\\\\" }";
    ASSERT_EQ(acfg(acfg_text), json(json_text));
    for (size_t n = 0; n < acfg_text.size(); n++) EXPECT_EQ(acfg(acfg_text.substr(0, n)), kEnd) << n;
    for (size_t n = 0; n < json_text.size(); n++) {
        if (n > 0 && json_text[n - 1] == '/' && json_text[n] == '/')
            continue;  // half a comment is a wrong character
        EXPECT_EQ(json(json_text.substr(0, n)), kEnd) << n;
    }
}
