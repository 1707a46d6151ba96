#include "base/errors/expected_exceptions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <type_traits>

#include "base/command_line/parameter_list.h"
#include "base/errors/exceptions.h"
#include "base/errors/registry.h"

using namespace trel;

namespace {

template <class E>
void is_outside_the_family() {
    static_assert(!std::is_base_of_v<Exception, E>);
    static_assert(std::is_base_of_v<std::exception, E>);
}

// Throws, and says as which of the types it was caught; "std" when as none of them.
template <class Thrown, class First, class Second>
std::string caught_as(const Thrown& thrown) {
    try {
        throw thrown;
    } catch (const First& e) {
        return std::string("first ") + e.what();
    } catch (const Second& e) {
        return std::string("second ") + e.what();
    } catch (const std::exception& e) {
        return std::string("std ") + e.what();
    }
}

}  // namespace

TEST(ExpectedExceptionsTest, CarryAMessageAndAreStandardExceptions) {
    is_outside_the_family<Environment::WMI_Exception>();
    is_outside_the_family<kalvor::ConfigLoadException>();
    is_outside_the_family<kalvor::ModeChangeException>();
    is_outside_the_family<kalvor::ModeNotSupportedException>();
    is_outside_the_family<kalvor::Formulas::ModeNotSupportedException>();
    is_outside_the_family<CommandLine::CommandLineException>();

    EXPECT_EQ(Environment::WMI_Exception("Query for object failed.").message(), "Query for object failed.");
    EXPECT_STREQ(kalvor::ConfigLoadException("a").what(), "a");
    EXPECT_STREQ(kalvor::ModeChangeException("b").what(), "b");
    EXPECT_STREQ(kalvor::ModeNotSupportedException("c").what(), "c");
    EXPECT_STREQ(kalvor::Formulas::ModeNotSupportedException("d").what(), "d");
}

TEST(ExpectedExceptionsTest, AreCaughtByTheirOwnTypeOnly) {
    using kalvor::ModeChangeException;
    using Constant = kalvor::ModeNotSupportedException;
    using Node = kalvor::Formulas::ModeNotSupportedException;
    EXPECT_EQ((caught_as<Constant, Node, Constant>(Constant("m"))), "second m");
    EXPECT_EQ((caught_as<Node, Node, Constant>(Node("m"))), "first m");
    EXPECT_EQ((caught_as<Node, ModeChangeException, Constant>(Node("m"))), "std m");
    EXPECT_EQ((caught_as<Environment::WMI_Exception, kalvor::ConfigLoadException, Environment::WMI_Exception>(
                  Environment::WMI_Exception("Could not connect."))),
              "second Could not connect.");
}

TEST(ExpectedExceptionsTest, AreNotRegistered) {
    const std::vector<std::string> names = registered_exception_types();
    for (const char* name : {"CommandLineException", "WMI_Exception", "ConfigLoadException",
                             "ModeChangeException", "ModeNotSupportedException", "Exception"}) {
        EXPECT_EQ(std::count(names.begin(), names.end(), name), 0) << name;
    }
}
