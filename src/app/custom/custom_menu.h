// The menu in which a user sets up a computation.
#pragma once

#include "app/session/authorization_token.h"
#include "app/settings/compute_table.h"
#include "base/names/names.h"

namespace kalvor {

// Shows the settings, edits those that the user chooses and shows them again, until the computation is
// started; returns what the run returns. A change that is refused says why and leaves everything as it was.
// Throws what the run throws, and EndOfStreamException at the end of the input.
bool run_custom_menu(const AuthorizationToken& token, ComputeSettings settings = {},
                     const SettingsTable& table = compute_settings_table());

}  // namespace kalvor
