#include "base/settings/word_setting.h"

#include <algorithm>

#include "base/errors/exceptions.h"

namespace trel {

void Switch::load(const Config::Object& object, std::string_view context) {
    set(object.get_bool(key(), context));
}

std::unique_ptr<Config::Node> Switch::value_node() const {
    return std::make_unique<Config::String>(is_on() ? "true" : "false");
}

void WordSetting::set(std::string_view word) {
    const auto found =
        std::find_if(words_.begin(), words_.end(), [&](const Word& w) { return w.word == word; });
    if (found == words_.end()) {
        std::string message = refusal_.message;
        const auto place = message.find("{}");
        if (place != std::string::npos) message.replace(place, 2, word);
        throw InvalidParametersException(refusal_.function, message);
    }
    mode = static_cast<u32>(found - words_.begin());
    chosen = true;
}

void WordSetting::load(const Config::Object& object, std::string_view context) {
    set(object.get_string(key(), context));
}

std::unique_ptr<Config::Node> WordSetting::value_node() const {
    return std::make_unique<Config::String>(word());
}

const WordSetting::Word& WordSetting::at_mode(const char* location) const {
    if (mode >= words_.size()) throw InvalidParametersException(location, "Invalid Mode");
    return words_[mode];
}

}  // namespace trel
