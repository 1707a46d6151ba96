// What shows a session that the start-up checks were passed.
#pragma once

#include "base/names/names.h"
#include "os/types.h"

namespace kalvor {

struct StartUpCalls;

// Made by the start-up after its checks and handed to whatever runs sessions; nothing else can make a valid
// one. It carries the largest size that a session may compute. Copies are as good; one that was made without
// the start-up is valid for nothing.
class AuthorizationToken {
  public:
    AuthorizationToken() = default;

    bool is_valid() const;
    // Decimal digits; 0 when it is not valid.
    u64 size_limit() const;

    // Throws InvalidParametersException "AuthorizationToken is invalid." at `function`.
    void require(const char* function) const;
    // Also "Size Limit Exceeded. ..." for more digits than the limit.
    void require(const char* function, u64 decimal_digits) const;

  private:
    friend struct StartUpCalls;
    static AuthorizationToken issue(u64 size_limit);

    u64 limit_ = 0;
    u64 seal_ = 0;  // of the limit
};

}  // namespace kalvor
