#include "base/errors/registry.h"

#include "base/errors/byte_record.h"
#include "base/registry/named.h"

namespace trel {
namespace {

Named<ExceptionFactory>& types() {
    static Named<ExceptionFactory> types("Duplicate Exception Type");
    return types;
}

}  // namespace

void register_exception_type(const std::string& name, ExceptionFactory factory) {
    types().add(name, factory);
}

std::unique_ptr<Exception> deserialize_exception(std::string_view name, std::span<const u8>& bytes) {
    const ExceptionFactory* const factory = types().find(name);
    if (!factory) {
        throw InvalidParametersException("deserialize_exception()",
                                         "Unknown exception type: " + std::string(name));
    }
    ByteCursor in(bytes);
    std::unique_ptr<Exception> exception = (*factory)(in);
    bytes = in.rest();
    return exception;
}

std::vector<std::string> registered_exception_types() {
    return types().names();
}

}  // namespace trel
