#include "base/settings/number_setting.h"

#include <algorithm>
#include <limits>

#include "base/console/console.h"
#include "base/prompt/prompt.h"

namespace trel {

void NumberSetting::set(u64 value) {
    value_ = std::clamp(value, rules_.least, rules_.most);
}

void NumberSetting::load(const Config::Object& object, std::string_view context) {
    set(static_cast<u64>(std::max<i64>(object.get_integer(key(), context), 0)));
}

void NumberSetting::edit() {
    if (rules_.title) {
        Console::print_line(rules_.title, 'P');
        Console::new_line();
        Console::print_line(rules_.explanation, 'w');
        Console::new_line();
    }
    if (!rules_.refusal) {
        set(Prompt::read_unsigned_in_range(rules_.prompt, rules_.least, rules_.most, 'T'));
        return;
    }
    for (;;) {
        const i64 answer = Prompt::read_integer_in_range(rules_.prompt, std::numeric_limits<i64>::min(),
                                                         std::numeric_limits<i64>::max(), 'T');
        if (answer >= 0 && in_range(static_cast<u64>(answer))) {
            set(static_cast<u64>(answer));
            return;
        }
        Console::print_line(rules_.refusal);
    }
}

std::string NumberSetting::display_text() const {
    return value_ == 0 && rules_.zero_text ? rules_.zero_text : std::to_string(value_);
}

std::unique_ptr<Config::Node> NumberSetting::value_node() const {
    return std::make_unique<Config::Integer>(static_cast<i64>(value_));
}

}  // namespace trel
