// The exception types by name, so that an exception can be rebuilt from its serialised form.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/errors/exceptions.h"

namespace trel {

// Reads one exception's fields, in the order serialize() wrote them.
using ExceptionFactory = std::unique_ptr<Exception> (*)(ByteCursor& in);

// A name that is taken prints "Duplicate Exception Type" and ends the process. Start-up only, not
// synchronised; every class of exceptions.h is registered before main().
void register_exception_type(const std::string& name, ExceptionFactory factory);

// Reads a record at the front of the bytes and takes it off. Throws InvalidParametersException for a name
// that is not registered and EndOfStreamException for a record that does not end within the bytes, which then
// stay as they are. Any bytes are safe.
std::unique_ptr<Exception> deserialize_exception(std::string_view name, std::span<const u8>& bytes);

// By the alphabet.
std::vector<std::string> registered_exception_types();

}  // namespace trel
