// The marker lines of a communication log.
#pragma once

#include <array>
#include <string_view>

namespace tmx::log_text {

inline constexpr std::string_view kDate = "Datum: ";
inline constexpr std::string_view kTime = "Uhrzeit: ";

inline constexpr std::string_view kStartMessage = "Start HBCI message";
inline constexpr std::string_view kEndMessage = "End HBCI message";
inline constexpr std::string_view kStartXml = "Start XML message";
inline constexpr std::string_view kEndXml = "End XML message";
inline constexpr std::string_view kStartInstruction = "Start XML instruction";
inline constexpr std::string_view kEndInstruction = "End XML instruction";
inline constexpr std::string_view kStartPage = "Start XHTML page";
inline constexpr std::string_view kEndPage = "End XHTML page";

inline constexpr std::string_view kAutoCommit = "Decoder auto commited";  // spelled so on purpose
inline constexpr std::string_view kPosition = "Decoder Pos: ";
inline constexpr std::string_view kStartImage = "Start Decoder Image";
inline constexpr std::string_view kEndImage = "End Decoder Image";

// Behind a start marker stand ";", the length of the body, and one of these.
inline constexpr std::string_view kSent = ";1";
inline constexpr std::string_view kReceived = ";0";

inline constexpr std::string_view kExtension = "pro";

}  // namespace tmx::log_text
