// What a piece of code throws, as a text to compare with.
#pragma once

#include <string>

#include "base/errors/exceptions.h"

namespace kalvor_test {

// What the text holds: "function|message", with more in front of it or behind it, or the message alone.
enum class Form { plain, with_type, with_path, with_code, message };

inline std::string text_of(const trel::Exception& e, Form form) {
    std::string text = form == Form::with_type ? std::string(e.get_typename()) + '|' : "";
    if (const auto* const s = dynamic_cast<const trel::StringException*>(&e))
        return text + (form == Form::message ? "" : s->function + '|') + s->message;
    if (const auto* const p = dynamic_cast<const trel::PathException*>(&e)) {
        text += (form == Form::message ? "" : p->function + '|') + p->message;
        if (form == Form::with_path) text += '|' + p->path;
        if (form == Form::with_code) text += '|' + std::to_string(p->error_code);
        return text;
    }
    if (const auto* const b = dynamic_cast<const trel::BufferTooSmallException*>(&e)) {
        return text + b->function + '|' + std::to_string(b->buffer_size) + " < " +
               std::to_string(b->required_size);
    }
    return text + e.get_typename();
}

// Runs f. The text of the exception of class E that it throws; any other one passes. "nothing thrown" if it
// throws none.
template <class E = trel::Exception, class F>
std::string message_of(Form form, F&& f) {
    try {
        f();
    } catch (const E& e) {
        return text_of(e, form);
    }
    return "nothing thrown";
}
template <class E = trel::Exception, class F>
std::string message_of(F&& f) {
    return message_of<E>(Form::plain, f);
}

}  // namespace kalvor_test
