// Takes over what a bank's answers say about bank and user.
#pragma once

#include "demo/host/access.h"
#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/user.h"

namespace tmx::demo {

// Puts the parameters of the bank and of the user that stand in a dialog's answers into the user,
// in place of the former ones of their kind, and the allowed procedures into the access. What the
// bank has not sent stays as it is.
void TakeParameters(const HbDialog& dialog, HbUser& user, Access& access);

}  // namespace tmx::demo
