// The work of the subcommands of tmx client. Each prints its result, as a table or as JSON, and
// gives an exit code; where that is not 0, the problem has been said, or it is Client::kFailed.
#pragma once

#include "tools/client.h"

namespace tmx::tools {

// What was learnt about bank and user.
int ShowAccess(const ClientOptions& options, demo::Conversation& conversation,
               const demo::StoredUser& stored);
int ListAccounts(const ClientOptions& options, demo::Conversation& conversation,
                 const demo::StoredUser& stored);
int ShowBalances(const ClientOptions& options, demo::Conversation& conversation,
                 const demo::StoredUser& stored);
int PrintStatements(const ClientOptions& options, demo::Conversation& conversation,
                    const demo::StoredUser& stored);
int MakeTransfer(const ClientOptions& options, demo::Conversation& conversation,
                 const demo::StoredUser& stored);

// An amount in euros, as "12.34", "12,3" or "12", in the form that payments have; empty for others.
std::string PaymentAmount(const std::string& text);

}  // namespace tmx::tools
