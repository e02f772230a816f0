// The access line of a user, and the host's online pages.
#pragma once

#include <cstdint>

#include "tmxtools/core/error.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/link.h"
#include "tmxtools/platform/string.h"

enum HbTOnlineDataAccessType : std::int32_t {
  OnlineAccessNone = 0,
  OnlineAccessPresent = 1,
};

// What an online request is to bring about. Hosts may use other values.
enum HbTOnlineStateType : std::int32_t {
  OnlineStateDisconnected = 0,
  OnlineStateConnected = 1,
};

// The credentials of an access line and the firewall on the way to the bank. Both hold passwords,
// as they are.
//
// Owner: a value. Empty state: no access data, no firewall, empty texts. Threads: as a String. Sets
// no codes.
class TMX_EXPORT HbTOnlineData {
 public:
  // Hosts may use other values.
  enum FirewallType : std::int32_t {
    FirewallNotSet = -1,
    FirewallNone = 0,
    FirewallProxy = 1,
  };

  HbTOnlineData() = default;
  // Without any of the first five texts there are no access data.
  HbTOnlineData(const String& host_address, const String& line_id, const String& subscriber,
                const String& co_user, const String& password, FirewallType firewall_type,
                const String& firewall_address, const String& firewall_port,
                const String& firewall_user, const String& firewall_password);
  // A firewall alone.
  HbTOnlineData(FirewallType firewall_type, const String& firewall_address,
                const String& firewall_port, const String& firewall_user,
                const String& firewall_password);

  HbTOnlineDataAccessType GetAccessKind() const noexcept { return access_kind_; }
  const String& GetHostAddresse() const noexcept { return host_addresse_; }
  const String& GetAnschlusskennung() const noexcept { return anschlusskennung_; }
  const String& GetTeilnehmernummer() const noexcept { return teilnehmernummer_; }
  const String& GetMitbenutzerzusatz() const noexcept { return mitbenutzerzusatz_; }
  const String& GetPasswort() const noexcept { return passwort_; }
  FirewallType GetFirewallType() const noexcept { return firewall_type_; }
  const String& GetFirewallAddr() const noexcept { return firewall_addr_; }
  const String& GetFirewallPort() const noexcept { return firewall_port_; }
  const String& GetFirewallUser() const noexcept { return firewall_user_; }
  const String& GetFirewallPassword() const noexcept { return firewall_password_; }

  // Whether all fields are equal, texts byte by byte.
  friend bool operator==(const HbTOnlineData&, const HbTOnlineData&) = default;

 private:
  HbTOnlineDataAccessType access_kind_ = OnlineAccessNone;
  String host_addresse_;
  String anschlusskennung_;
  String teilnehmernummer_;
  String mitbenutzerzusatz_;
  String passwort_;
  FirewallType firewall_type_ = FirewallNotSet;
  String firewall_addr_;
  String firewall_port_;
  String firewall_user_;
  String firewall_password_;
};

// Asks the host to show an online page, or to follow a link of one, and to call back when that is
// finished. The host reports through the status.
//
// Owner: its maker; it holds copies of all that it was made with. Empty state: none. Threads: one
// at a time. Sets no codes itself.
class TMX_EXPORT HbTOnlineRequest : public HbErrorHandler {
 public:
  // No data mean empty ones.
  HbTOnlineRequest(HbTOnlineStateType dest_state, const Link& finished_link, bool show_decoder,
                   bool hold_connection, const String& page, const String& region_codes,
                   const HbTOnlineData* data);

  HbTOnlineStateType GetDestState() const noexcept { return dest_state_; }
  const String& GetRegionCodes() const noexcept { return region_codes_; }
  const String& GetPage() const noexcept { return page_; }
  const Link& GetFinishedLink() const noexcept { return finished_link_; }
  // The link is called no more.
  void DiscardFinishedLink() { finished_link_ = Link(); }
  bool GetShowDecoder() const noexcept { return show_decoder_; }
  bool GetHoldConnection() const noexcept { return hold_connection_; }

  const HbTOnlineData& GetTOnlineData() const noexcept { return data_; }
  HbTOnlineDataAccessType GetAccessKind() const noexcept { return data_.GetAccessKind(); }
  const String& GetHostAddresse() const noexcept { return data_.GetHostAddresse(); }
  const String& GetAnschlusskennung() const noexcept { return data_.GetAnschlusskennung(); }
  const String& GetTeilnehmernummer() const noexcept { return data_.GetTeilnehmernummer(); }
  const String& GetMitbenutzerzusatz() const noexcept { return data_.GetMitbenutzerzusatz(); }
  const String& GetPasswort() const noexcept { return data_.GetPasswort(); }

 private:
  HbTOnlineStateType dest_state_;
  String region_codes_;
  String page_;
  Link finished_link_;
  bool show_decoder_;
  bool hold_connection_;
  HbTOnlineData data_;
};
