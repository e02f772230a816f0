#include "tmxtools/banking/job.h"

#include <new>

#include "tmxtools/core/error.h"
#include "tmxtools/streams/protocol_file.h"

namespace {

constexpr unsigned short kOutOfMemory = 17748;

}  // namespace

HbJob::HbJob(void* client_data, void* xhb_client_data) : HbObject(client_data, xhb_client_data) {}

HbJob::~HbJob() {
  ClearDialogs();
  ClearPreSignedMessages();
  ClearRequests();
}

bool HbJob::InsertRequest(HbRequest* request) noexcept {
  if (request == nullptr || !requests_.Append(request)) return false;
  request->job_.Set(this);
  return true;
}

void HbJob::RemoveRequest(HbRequest* request) noexcept {
  if (request != nullptr && requests_.Take(request)) request->job_.Set(nullptr);
}

unsigned short HbJob::MessageCount(unsigned short dialog) const noexcept {
  const HbDialog* const found = dialogs_.Get(dialog);
  return found != nullptr ? found->MessageCount() : static_cast<unsigned short>(0);
}

HbMessage* HbJob::GetMessage(unsigned short dialog, unsigned short message) const noexcept {
  const HbDialog* const found = dialogs_.Get(dialog);
  return found != nullptr ? found->messages_.Get(message) : nullptr;
}

unsigned short HbJob::RequestCountExt(unsigned short dialog,
                                      unsigned short message) const noexcept {
  const HbMessage* const found = GetMessage(dialog, message);
  return found != nullptr ? found->RequestCount() : static_cast<unsigned short>(0);
}

HbRequest* HbJob::GetRequestExt(unsigned short dialog, unsigned short message,
                                unsigned short request) const {
  const HbMessage* const found = GetMessage(dialog, message);
  return found != nullptr ? (*found)[request] : nullptr;
}

HbMessage* HbJob::GetPresignedMsgOrInsertPos(unsigned short dialog, unsigned short message,
                                             unsigned short& position) const noexcept {
  HbMessage* found = nullptr;
  position = presigned_.Count();
  for (unsigned short i = 0; i < presigned_.Count(); ++i) {
    found = presigned_.Get(i);
    const HbRequest* const first = found->FirstRequest();
    if (first == nullptr) continue;
    if (first->GetDlgId() == dialog && first->GetMsgId() == message) return found;
    found = nullptr;
    position = i;
    if (first->GetDlgId() > dialog || (first->GetDlgId() == dialog && first->GetMsgId() > message))
      return nullptr;
    ++position;
  }
  // A last message that has lost its requests is taken again, on purpose.
  return found;
}

void HbJob::AddToPresignedMsg(HbRequest& request) noexcept {
  const unsigned short place = request.GetReqId();
  if (place == HbRequest::kUnknown || request.GetMsgId() == HbRequest::kUnknown ||
      request.GetDlgId() == HbRequest::kUnknown)
    return;
  unsigned short position = 0;
  HbMessage* message = GetPresignedMsgOrInsertPos(request.GetDlgId(), request.GetMsgId(), position);
  std::unique_ptr<HbMessage> made;
  if (message == nullptr) {
    made.reset(new (std::nothrow) HbMessage);
    message = made.get();
    if (message == nullptr || !presigned_.Insert(position, message)) return;
  }
  auto& requests = message->requests_;
  if (!requests.PadTo(place)) return;
  if (requests.Count() > place && requests.Get(place) != nullptr) return;
  const bool is_placed =
      requests.Count() > place ? requests.Set(place, &request) : requests.Insert(place, &request);
  if (!is_placed) return;
  request.message_.Set(message);
  made.release();
}

void HbJob::SetProtocolPathAndKey(const String& path, const String& key) {
  protocol_path_ = path;
  protocol_key_ = key;
  protocol_done_ = false;
}

HbProtocolFile* HbJob::GetProtocol() {
  if (!protocol_done_) {
    protocol_done_ = true;
    HbError error;
    if (!protocol_path_.IsEmpty() && !OpenNewProtocol(error)) InsertErrorResponse(error);
  }
  return protocol_.get();
}

bool HbJob::OpenNewProtocol(HbError& error) {
  CloseProtocol();
  error.Clear();
  try {
    protocol_ = std::make_unique<HbProtocolFile>();
  } catch (const std::bad_alloc&) {
    error.SetError(kOutOfMemory);
    return false;
  }
  if (!protocol_->CreateNew(protocol_path_, protocol_key_, error)) {
    CloseProtocol();
    return false;
  }
  protocol_file_name_ = protocol_->GetName();
  return true;
}

void HbJob::CloseProtocol() noexcept { protocol_.reset(); }

void Unlink(HbJob& job, HbRequest& request) noexcept {
  if (request.GetJob() == &job) request.job_.Set(nullptr);
  job.requests_.Take(&request);
}

void Unlink(HbJob& job, HbDialog& dialog) noexcept {
  if (dialog.GetParentJob() == &job) dialog.job_.Set(nullptr);
  job.dialogs_.Take(&dialog);
}
