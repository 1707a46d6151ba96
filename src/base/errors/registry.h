// The exception types by name, so that an exception can be rebuilt from its serialised form.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/errors/exceptions.h"

namespace trel {

// Reads one exception's fields at the cursor, in the order serialize() wrote them, and moves the cursor past
// them. Unchecked: the record must be complete.
using ExceptionFactory = std::unique_ptr<Exception> (*)(const u8*& cursor);

// A name that is taken prints "Duplicate Exception Type" and ends the process. Start-up only, not
// synchronised; every class of exceptions.h is registered before main().
void register_exception_type(const std::string& name, ExceptionFactory factory);

// Throws InvalidParametersException for a name that is not registered.
std::unique_ptr<Exception> deserialize_exception(std::string_view name, const u8*& cursor);

std::vector<std::string> registered_exception_types();

}  // namespace trel
