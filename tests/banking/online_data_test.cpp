#include "tmxtools/banking/online_data.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "tests/support/print.h"

namespace {

// The arguments of the long constructor, one of which a test may change.
struct Arguments {
  std::array<String, 5> online = {"host", "line", "subscriber", "0001", "secret"};
  HbTOnlineData::FirewallType type = HbTOnlineData::FirewallProxy;
  std::array<String, 4> firewall = {"proxy", "8080", "user", "word"};

  HbTOnlineData Data() const {
    return {online[0], online[1],   online[2],   online[3],   online[4],
            type,      firewall[0], firewall[1], firewall[2], firewall[3]};
  }
};

TEST(HbTOnlineData, IsEmptyAtFirst) {
  const HbTOnlineData data;
  EXPECT_EQ(data.GetAccessKind(), 0);
  EXPECT_EQ(data.GetHostAddresse(), "");
  EXPECT_EQ(data.GetAnschlusskennung(), "");
  EXPECT_EQ(data.GetTeilnehmernummer(), "");
  EXPECT_EQ(data.GetMitbenutzerzusatz(), "");
  EXPECT_EQ(data.GetPasswort(), "");
  EXPECT_EQ(data.GetFirewallType(), -1);
  EXPECT_EQ(data.GetFirewallAddr(), "");
  EXPECT_EQ(data.GetFirewallPort(), "");
  EXPECT_EQ(data.GetFirewallUser(), "");
  EXPECT_EQ(data.GetFirewallPassword(), "");
}

TEST(HbTOnlineData, KeepsTenArguments) {
  const HbTOnlineData data = Arguments().Data();
  EXPECT_EQ(data.GetAccessKind(), 1);
  EXPECT_EQ(data.GetHostAddresse(), "host");
  EXPECT_EQ(data.GetAnschlusskennung(), "line");
  EXPECT_EQ(data.GetTeilnehmernummer(), "subscriber");
  EXPECT_EQ(data.GetMitbenutzerzusatz(), "0001");
  EXPECT_EQ(data.GetPasswort(), "secret");
  EXPECT_EQ(data.GetFirewallType(), HbTOnlineData::FirewallProxy);
  EXPECT_EQ(data.GetFirewallAddr(), "proxy");
  EXPECT_EQ(data.GetFirewallPort(), "8080");
  EXPECT_EQ(data.GetFirewallUser(), "user");
  EXPECT_EQ(data.GetFirewallPassword(), "word");
}

TEST(HbTOnlineData, HasNoAccessWhenAllFiveOnlineTextsAreEmpty) {
  Arguments arguments;
  arguments.online = {};
  EXPECT_EQ(arguments.Data().GetAccessKind(), 0);
  EXPECT_EQ(arguments.Data().GetFirewallAddr(), "proxy");
  for (std::size_t i = 0; i < arguments.online.size(); ++i) {
    arguments.online = {};
    arguments.online[i] = "x";
    EXPECT_EQ(arguments.Data().GetAccessKind(), 1) << i;
  }
}

TEST(HbTOnlineData, MayHoldAFirewallAlone) {
  const HbTOnlineData data(static_cast<HbTOnlineData::FirewallType>(7), "proxy", "8080", "user",
                           "word");
  EXPECT_EQ(data.GetAccessKind(), 0);
  EXPECT_EQ(data.GetHostAddresse(), "");
  EXPECT_EQ(data.GetPasswort(), "");
  EXPECT_EQ(data.GetFirewallType(), 7);
  EXPECT_EQ(data.GetFirewallPort(), "8080");
  EXPECT_EQ(data.GetFirewallPassword(), "word");
}

TEST(HbTOnlineData, CopiesEveryField) {
  const HbTOnlineData data = Arguments().Data();
  const HbTOnlineData copy(data);
  HbTOnlineData assigned;
  assigned = data;
  EXPECT_TRUE(copy == data);
  EXPECT_TRUE(assigned == data);
  assigned = *&assigned;
  EXPECT_TRUE(assigned == data);
}

TEST(HbTOnlineData, DiffersWhenOneFieldDiffers) {
  const HbTOnlineData data = Arguments().Data();
  EXPECT_TRUE(data == Arguments().Data());
  for (std::size_t i = 0; i < 5; ++i) {
    Arguments other;
    other.online[i] += "x";
    EXPECT_FALSE(other.Data() == data) << i;
  }
  for (std::size_t i = 0; i < 4; ++i) {  // the last one is the firewall's password
    Arguments other;
    other.firewall[i] += "x";
    EXPECT_FALSE(other.Data() == data) << i;
  }
  Arguments other;
  other.type = HbTOnlineData::FirewallNone;
  EXPECT_TRUE(other.Data() != data);
}

TEST(HbTOnlineData, ComparesTheKindOfAccessToo) {
  EXPECT_FALSE(HbTOnlineData() ==
               HbTOnlineData("x", "", "", "", "", HbTOnlineData::FirewallNotSet, "", "", "", ""));
}

TEST(HbTOnlineData, ComparesCaseSensitively) {
  Arguments other;
  other.online[0] = "HOST";
  EXPECT_FALSE(other.Data() == Arguments().Data());
}

TEST(HbTOnlineRequest, KeepsWhatItIsMadeWith) {
  int calls = 0;
  const Link link([&calls](void*) { return static_cast<long>(++calls); });
  const HbTOnlineData data = Arguments().Data();
  const HbTOnlineRequest request(OnlineStateConnected, link, true, false, "page", "region", &data);
  EXPECT_EQ(request.GetDestState(), OnlineStateConnected);
  EXPECT_TRUE(request.GetShowDecoder());
  EXPECT_FALSE(request.GetHoldConnection());
  EXPECT_EQ(request.GetPage(), "page");
  EXPECT_EQ(request.GetRegionCodes(), "region");
  EXPECT_EQ(request.GetFinishedLink().Call(nullptr), 1);
  EXPECT_TRUE(request.GetTOnlineData() == data);
  EXPECT_EQ(request.GetAccessKind(), 1);
  EXPECT_EQ(request.GetHostAddresse(), "host");
  EXPECT_EQ(request.GetAnschlusskennung(), "line");
  EXPECT_EQ(request.GetTeilnehmernummer(), "subscriber");
  EXPECT_EQ(request.GetMitbenutzerzusatz(), "0001");
  EXPECT_EQ(request.GetPasswort(), "secret");
}

TEST(HbTOnlineRequest, TakesNoDataForEmptyData) {
  const HbTOnlineRequest request(OnlineStateDisconnected, Link(), false, true, "", "", nullptr);
  EXPECT_TRUE(request.GetTOnlineData() == HbTOnlineData());
  EXPECT_FALSE(request.GetShowDecoder());
  EXPECT_TRUE(request.GetHoldConnection());
  EXPECT_EQ(request.GetFinishedLink().Call(nullptr), 0);
}

TEST(HbTOnlineRequest, CallsADiscardedLinkNoMore) {
  int calls = 0;
  HbTOnlineRequest request(OnlineStateConnected,
                           Link([&calls](void*) { return static_cast<long>(++calls); }), false,
                           false, "", "", nullptr);
  request.DiscardFinishedLink();
  EXPECT_FALSE(request.GetFinishedLink().IsSet());
  EXPECT_EQ(request.GetFinishedLink().Call(nullptr), 0);
  EXPECT_EQ(calls, 0);
  request.DiscardFinishedLink();
}

TEST(HbTOnlineRequest, CarriesAStatus) {
  HbTOnlineRequest request(OnlineStateConnected, Link(), false, false, "", "", nullptr);
  EXPECT_FALSE(request.GetStatus().IsSet());
  request.SetStatus(17490);
  EXPECT_EQ(request.GetStatus().GetCode(), 17490);
}

}  // namespace
