// An object of a settings file on its way into settings: what is wrong with a member is reported to the user
// with the member's whole name and what stands there.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "base/config/node.h"
#include "base/errors/exceptions.h"

namespace trel::Config {

// The values that a key may have, if they are names; else empty.
using KnownValues = std::function<std::vector<std::string>(const std::string& key)>;

class Section {
  public:
    // `path` is the object's own name, "CustomCompute.Output"; empty for the root.
    Section(const Object& object, std::string path, KnownValues known)
        : object_(object), path_(std::move(path)), known_(std::move(known)) {}

    // Runs `read(object)`, which asks for members one after another. When it throws an exception of the
    // program, a sentence about the member that was asked for last is printed, and the exception passes.
    template <class Read>
    auto read(Read read) const {
        try {
            return read(object_);
        } catch (const Exception& e) {
            print_problem_with(e);
            throw;
        }
    }
    // The object under a key; `context` as for Object::get_object().
    Section section(const std::string& key, std::string_view context = {}) const;

    const Object& object() const { return object_; }

  private:
    void print_problem_with(const Exception& e) const;

    const Object& object_;
    std::string path_;
    KnownValues known_;
};

// What a node is, for a sentence: `the text "abc"`, "the number 5", "a list", "an object".
std::string describe(const Node& node);

}  // namespace trel::Config
