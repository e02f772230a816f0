#include "tmxtools/banking/online_data.h"

#include <algorithm>

HbTOnlineData::HbTOnlineData(const String& host_address, const String& line_id,
                             const String& subscriber, const String& co_user,
                             const String& password, FirewallType firewall_type,
                             const String& firewall_address, const String& firewall_port,
                             const String& firewall_user, const String& firewall_password)
    : HbTOnlineData(firewall_type, firewall_address, firewall_port, firewall_user,
                    firewall_password) {
  host_addresse_ = host_address;
  anschlusskennung_ = line_id;
  teilnehmernummer_ = subscriber;
  mitbenutzerzusatz_ = co_user;
  passwort_ = password;
  const auto texts = {&host_address, &line_id, &subscriber, &co_user, &password};
  if (!std::ranges::all_of(texts, &String::IsEmpty)) access_kind_ = OnlineAccessPresent;
}

HbTOnlineData::HbTOnlineData(FirewallType firewall_type, const String& firewall_address,
                             const String& firewall_port, const String& firewall_user,
                             const String& firewall_password)
    : firewall_type_(firewall_type),
      firewall_addr_(firewall_address),
      firewall_port_(firewall_port),
      firewall_user_(firewall_user),
      firewall_password_(firewall_password) {}

HbTOnlineRequest::HbTOnlineRequest(HbTOnlineStateType dest_state, const Link& finished_link,
                                   bool show_decoder, bool hold_connection, const String& page,
                                   const String& region_codes, const HbTOnlineData* data)
    : dest_state_(dest_state),
      region_codes_(region_codes),
      page_(page),
      finished_link_(finished_link),
      show_decoder_(show_decoder),
      hold_connection_(hold_connection) {
  if (data != nullptr) data_ = *data;
}
