// What tests show sessions.
#pragma once

#include "app/entry/entry.h"
#include "base/names/names.h"

namespace kalvor_test {

// As the start-up makes it; lives as long as the test program.
inline const kalvor::AuthorizationToken& authorized() {
    static const kalvor::AuthorizationToken token = kalvor::StartUpCalls::authorization();
    return token;
}

}  // namespace kalvor_test
