// Runs a macro on every engine there is: the library's with decoded code, with an observer, and
// with every command going through Dispatch, and the reference engine. They must agree.
#pragma once

#include <string>
#include <vector>

#include "tests/support/bytecode_builder.h"
#include "tests/support/run_outcome.h"

namespace tmx {

inline constexpr const char* kCodeFile = "/home/macro/test.hbx";
inline constexpr const char* kIndexFile = "/home/macro/test.hbz";

// "SUB an Position 12"
std::string At(const std::string& sub, std::size_t position);
inline std::string At(std::size_t position) { return At("SUB", position); }

// Runs `sub` from the given files, the last one on top; an empty "general" lies below them unless
// one is given. Returns what the library's engine did without an observer.
RunOutcome RunFiles(const std::vector<MacroImage>& files, const std::string& sub = "SUB",
                    const std::vector<HostParam>& params = {});
// Runs one subroutine, called "SUB", from the file "test".
RunOutcome RunCode(const CodeBuilder& code, const std::vector<HostParam>& params = {});
// The same on the library's engine with an observer; the reference engine must see the same.
RunOutcome ObserveFiles(const std::vector<MacroImage>& files, const std::string& sub = "SUB",
                        const std::vector<HostParam>& params = {}, ObserverPlan plan = {});

// What the surroundings of a banking engine lack.
enum class Lacking { kNothing, kRequest, kMessage, kDialog, kIssuer };
// As RunFiles, on the banking engine, for which there is no reference engine. Its request HKSAL of
// version 5 has all that it needs: the issuer knows the parameters "HISALS" and "Callee", and a
// handler answers every question.
RunOutcome RunBankingFiles(const std::vector<MacroImage>& files, const std::string& sub = "SUB",
                           Lacking lacking = Lacking::kNothing);
RunOutcome RunBankingCode(const CodeBuilder& code, Lacking lacking = Lacking::kNothing);

MacroImage TestFile(const CodeBuilder& code);

// Checks for outcomes.
void ExpectNoError(const RunOutcome& outcome);
void ExpectMacroError(const RunOutcome& outcome, unsigned code, const std::string& param);

}  // namespace tmx
