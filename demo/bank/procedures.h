// The two-step procedures of the sandbox bank and the TAN media of its users.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace tmx::demo {

struct Procedure {
  std::string_view function;  // security function
  std::string_view id;        // technical name
  std::string_view name;
  bool is_decoupled;
  bool needs_medium;
};

inline constexpr std::array<Procedure, 2> kProcedures{{
    {"910", "HHD1.4", "Kartenleser", false, true},
    {"946", "APP", "Freigabe-App", true, false},
}};

/// How often a client may ask whether the user has confirmed, and how long it waits, in seconds.
inline constexpr int kMostStatusRequests = 10;
inline constexpr int kFirstWait = 2;
inline constexpr int kNextWait = 1;

inline constexpr int kLongestTan = 6;
inline constexpr int kShortestPin = 5;
inline constexpr int kLongestPin = 12;

struct TanMedium {
  std::string_view user;
  std::string_view name;
  std::string_view card;  // its number
  bool shows_picture;     // the challenge comes as a picture, else as a flicker code
};

inline constexpr std::array<TanMedium, 2> kMedia{{
    {"4711", "Karte 1", "6725990001", false},
    {"4711", "Leser + Kamera", "6725990002", true},
}};

/// Null where there is none.
const Procedure* FindProcedure(std::string_view function);
const TanMedium* FindMedium(std::string_view user, std::string_view name);

/// The binary part of a challenge for the medium.
std::string ChallengeBytes(const TanMedium& medium);

}  // namespace tmx::demo
