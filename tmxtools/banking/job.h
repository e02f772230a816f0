// One unit of work for the kernel.
#pragma once

#include <memory>

#include "tmxtools/banking/dialog.h"
#include "tmxtools/banking/message.h"
#include "tmxtools/banking/object.h"
#include "tmxtools/banking/request.h"
#include "tmxtools/platform/export.h"
#include "tmxtools/platform/string.h"

class HbError;
class HbLinkCallerThread;
class HbProtocolFile;

// The requests that a user wants to be done, the dialogs in which they are sent, and the log of
// what is sent and received.
//
// Owner: the host. It owns its requests, its dialogs with their messages, and the log. Presigned
// messages, which signatures of other jobs make here, it only lists: they belong to whoever reaches
// them through their requests until AddToDialog() gives them a dialog. Objects that die leave its
// lists. The caller thread belongs to the host. Empty state: no requests, dialogs and log, and none
// to open. Threads: one at a time for the whole tree. Codes: those of the log, as return codes of
// an "INERR" response.
class TMX_EXPORT HbJob : public HbObject {
 public:
  explicit HbJob(void* client_data = nullptr, void* xhb_client_data = nullptr);
  ~HbJob() override;

  // Does nothing, on purpose: a job is never skipped, and nothing below it through the job.
  void Skip() override {}
  unsigned short GetChildCount() const override { return DialogCount(); }
  HbObject* GetChild(unsigned short index) const override { return GetDialog(index); }

  unsigned short RequestCount() const noexcept { return requests_.Count(); }
  // Throws std::out_of_range behind the last.
  HbRequest* GetRequest(unsigned short index) const { return requests_.At(index); }
  // Takes a request over. False, and the request stays the caller's, for null, when there are 65535
  // and when memory ends.
  bool InsertRequest(HbRequest* request) noexcept;
  // Hands a request back; nothing happens if it is not in the list.
  void RemoveRequest(HbRequest* request) noexcept;
  // Hand all requests back, or destroy them.
  void RemoveAllRequests() noexcept { requests_.Clear(); }
  void ClearRequests() noexcept { requests_.DestroyAll(); }

  unsigned short DialogCount() const noexcept { return dialogs_.Count(); }
  // Throws std::out_of_range behind the last.
  HbDialog* GetDialog(unsigned short index) const { return dialogs_.At(index); }
  // Destroys the dialogs with their messages; requests stay.
  void ClearDialogs() noexcept { dialogs_.DestroyAll(); }
  // 0 for a dialog or message that does not exist.
  unsigned short MessageCount(unsigned short dialog) const noexcept;
  unsigned short RequestCountExt(unsigned short dialog, unsigned short message) const noexcept;
  // Null for a dialog or message that does not exist; throws std::out_of_range behind the last
  // request of one that does.
  HbRequest* GetRequestExt(unsigned short dialog, unsigned short message,
                           unsigned short request) const;

  // Takes a message over into the dialog in which it is to be sent, which may be a new one; returns
  // that. Messages of one sender share a dialog, unless its first request or the message's only one
  // is one of those that need a dialog of their own. A new dialog goes behind `after`, else next to
  // the first one of the sender, else to the end. Throws std::out_of_range "element not found." if
  // `after` is not in this job. Null, and the message stays the caller's, if there are 65535
  // dialogs or messages, and when memory ends.
  HbDialog* AddToDialog(HbMessage& message, const HbDialog* after = nullptr);

  // Puts a request with stored ids into the presigned message that they name, which is made if it
  // is missing. The first request keeps its place.
  void AddToPresignedMsg(HbRequest& request) noexcept;
  void ClearPreSignedMessages() noexcept { presigned_.Clear(); }

  // Where the log is to be, and its key. It is opened when it is asked for.
  void SetProtocolPathAndKey(const String& path, const String& key);
  // The path as given.
  const String& GetProtocolName() const noexcept { return protocol_path_; }
  // The file's name, after a log was opened.
  const String& GetProtocolFileName() const noexcept { return protocol_file_name_; }
  // The log, or null. Tries once after each SetProtocolPathAndKey() to open one; an error becomes
  // an error response.
  HbProtocolFile* GetProtocol();
  // Closes the log and begins another one. False, with the error, if that fails.
  bool OpenNewProtocol(HbError& error);
  void CloseProtocol() noexcept;

  // Where calls of the host are queued, with HbTools::QueueLink(); may be null.
  HbLinkCallerThread* GetJobThread() const noexcept { return job_thread_; }
  void SetJobThread(HbLinkCallerThread* thread) noexcept { job_thread_ = thread; }

 private:
  friend class HbRequest;
  friend void Unlink(HbJob& job, HbRequest& request) noexcept;
  friend void Unlink(HbJob& job, HbDialog& dialog) noexcept;

  HbMessage* GetMessage(unsigned short dialog, unsigned short message) const noexcept;
  HbMessage* GetPresignedMsgOrInsertPos(unsigned short dialog, unsigned short message,
                                        unsigned short& position) const noexcept;
  HbDialog* FindDialogFor(const HbMessage& message, bool is_dialog_control) const;
  unsigned short NewDialogPosition(const HbMessage& message, const HbDialog* after,
                                   bool is_key_change) const;

  tmx::ObjectList<HbRequest> requests_{tmx::WhenDead::kRemovePlace};
  tmx::ObjectList<HbDialog> dialogs_{tmx::WhenDead::kRemovePlace};
  tmx::ObjectList<HbMessage> presigned_{tmx::WhenDead::kRemovePlace};
  String protocol_path_;
  String protocol_key_;
  String protocol_file_name_;
  std::unique_ptr<HbProtocolFile> protocol_;
  bool protocol_done_ = true;
  HbLinkCallerThread* job_thread_ = nullptr;
};

// Take a request or a dialog out of a job, which no longer owns it.
TMX_EXPORT void Unlink(HbJob& job, HbRequest& request) noexcept;
TMX_EXPORT void Unlink(HbJob& job, HbDialog& dialog) noexcept;
