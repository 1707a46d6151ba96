#include "app/session/authorization_token.h"

#include <string>

#include "app/validation/signature.h"
#include "base/errors/exceptions.h"
#include "base/version/version.h"

namespace kalvor {

namespace {

u64 seal_of(u64 size_limit) {
    return std::stoull(signature_of("authorization " + std::to_string(size_limit)).substr(0, 16), nullptr,
                       16);
}

}  // namespace

AuthorizationToken AuthorizationToken::issue(u64 size_limit) {
    AuthorizationToken token;
    token.limit_ = size_limit;
    token.seal_ = seal_of(size_limit);
    return token;
}

bool AuthorizationToken::is_valid() const {
    return limit_ != 0 && seal_ == seal_of(limit_);
}

u64 AuthorizationToken::size_limit() const {
    return is_valid() ? limit_ : 0;
}

void AuthorizationToken::require(const char* function) const {
    if (is_valid()) return;
    throw InvalidParametersException(function, "AuthorizationToken is invalid.");
}

void AuthorizationToken::require(const char* function, u64 decimal_digits) const {
    require(function);
    if (decimal_digits <= limit_) return;
    throw InvalidParametersException(function,
                                     std::string("Size Limit Exceeded.\n\nPlease contact the developer at ") +
                                         kMaker.contact_address + ".");
}

}  // namespace kalvor
