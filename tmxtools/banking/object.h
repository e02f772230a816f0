// The common base of jobs, dialogs, messages and requests.
#pragma once

#include "tmxtools/banking/object_link.h"
#include "tmxtools/banking/object_types.h"
#include "tmxtools/banking/segment.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbError;

// An object of the tree in which a conversation with a bank is kept: a job holds dialogs, a dialog
// messages, a message requests. Each has a status, which return codes of the bank's answers drive,
// and the response segments that belong to its level.
//
// Owner: see the derived classes. Whoever lists or points to an object forgets it when it dies, so
// objects may be destroyed in any order. It owns a counted reference on each response; client data
// belongs to the host and is never looked at. Empty state: open, no responses. Threads: one at a
// time for a whole tree with its segments. Sets no codes.
class TMX_EXPORT HbObject {
 public:
  explicit HbObject(void* client_data = nullptr, void* xhb_client_data = nullptr) noexcept
      : client_data_(client_data), xhb_client_data_(xhb_client_data) {}
  virtual ~HbObject();
  HbObject(const HbObject&) = delete;
  HbObject& operator=(const HbObject&) = delete;

  // Makes this object and all below it open, without responses.
  virtual void Reset();
  // Raise the status of this object and all below it to cancelled or skipped. They never lower it:
  // what was sent or has succeeded stays so.
  virtual void Cancel();
  virtual void Skip();
  virtual HbStatus GetStatus() const { return status_; }
  // Append an "INERR" segment with return codes, whose identifier never marks a request as
  // successful. A status follows if it is greater than the present one, or if that is success.
  virtual void InsertErrorResponse(unsigned short code, HbStatus status, const String& text,
                                   const String& param_text);
  // A return code for each error of the chain, newest first; nothing for an error that is not set.
  virtual void InsertErrorResponse(const HbError& error);
  // Appends a segment, of which a reference is taken. Null is ignored.
  virtual void InsertResponse(HbSegment* segment);
  virtual unsigned short GetChildCount() const { return 0; }
  virtual HbObject* GetChild(unsigned short index) const;

  void* GetClientData() const noexcept { return client_data_; }
  void SetClientData(void* data) noexcept { client_data_ = data; }
  void* GetXHbClientData() const noexcept { return xhb_client_data_; }
  void SetXHbClientData(void* data) noexcept { xhb_client_data_ = data; }
  // Sets without any comparison.
  void SetStatus(HbStatus status) noexcept { status_ = status; }
  // Empty if no resolver has the text.
  static String GetStatusText(HbStatus status);
  // Success or warning.
  bool IsSuccess() const;
  // Error, skipped or cancelled.
  bool IsAborted() const;

  unsigned short ResponseCount() const noexcept { return responses_.Count(); }
  // Throws std::out_of_range behind the last.
  HbSegment* GetResponse(unsigned short index) const { return responses_.GetObject(index); }
  // The first response from `index` on with a Segmentkennung, and its position; null and 0 without
  // one.
  HbSegment* GetResponseWithName(unsigned short& index, const char* name) const;
  void ClearResponses() noexcept { responses_.Remove(0, responses_.Count()); }
  void RemoveResponse(unsigned short index) noexcept { responses_.Remove(index, 1); }
  // Nothing happens if the segment is not among the responses.
  void RemoveResponse(HbSegment& segment) noexcept;
  void ReverseResponses() noexcept { responses_.Reverse(); }

  // Sums over the children, in which a child itself does not count. Both are therefore 0 for every
  // tree, which is kept on purpose: hosts compare with it.
  unsigned short GetChildCountRecursiveTotal() const;
  unsigned short GetChildCountRecursiveSuccessful() const;

  // 0 for the issuer, 1 for the cosigner, 2 for the transmitter, -1 for anything else.
  short GetIndexFromRole(HbRole role) const noexcept;

 protected:
  // Applies the return codes of a "HIRMG" or "HIRMS" segment to the status: an error always, the
  // first success or warning unless the status is a warning already, or greater.
  void UpdateStatusFromHIRMxSegment(HbSegment* segment);

 private:
  friend class tmx::ObjectLink;

  void RaiseStatus(HbStatus status);

  HbSegmentArray responses_;
  void* client_data_;
  void* xhb_client_data_;
  HbStatus status_ = HbStatusOpen;
  tmx::ObjectLink* links_ = nullptr;
};
