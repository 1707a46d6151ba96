// Things of one kind by name: what a user chooses from, what settings files and messages name. Filled before
// main() by registration objects and read-only afterwards; filling is not synchronised.
#pragma once

#include <algorithm>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace trel {

// Prints the line in red and ends the process with exit code 1. A duplicate, or an entry that does not fit
// its registry, is a defect of the program, found before main(), where nobody could catch an exception.
[[noreturn]] void refuse_registration(const std::string& line);

// Make it a static object of the function that registers: initialisers run in any order.
template <class Type>
class Named {
  public:
    // `duplicate` is the line for a second registration of a name; after ": " the name follows. Menus list
    // the names of `order` first (static texts), so that link order does not show, then the others by the
    // alphabet.
    explicit Named(std::string duplicate, std::span<const char* const> order = {})
        : duplicate_(std::move(duplicate)), order_(order) {}

    void add(const std::string& name, Type type) {
        if (types_.emplace(name, std::move(type)).second) return;
        refuse_registration(duplicate_.ends_with(": ") ? duplicate_ + name : duplicate_);
    }

    // nullptr for a name that is not registered. The pointer stays valid.
    const Type* find(std::string_view name) const {
        const auto found = types_.find(name);
        return found == types_.end() ? nullptr : &found->second;
    }

    // In menu order.
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const char* name : order_) {
            if (find(name)) names.emplace_back(name);
        }
        const auto listed = static_cast<std::ptrdiff_t>(names.size());
        for (const auto& [name, type] : types_) {
            if (std::find(names.begin(), names.begin() + listed, name) == names.begin() + listed) {
                names.push_back(name);
            }
        }
        return names;
    }

  private:
    const std::string duplicate_;
    const std::span<const char* const> order_;
    std::map<std::string, Type, std::less<>> types_;
};

}  // namespace trel
