// Trees that are built and torn down in random order through the public interface, also while an
// engine runs a macro for one of their requests. The sanitizers say whether something is freed
// twice, used when it is dead, or forgotten.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/banking/tree_objects.h"
#include "tests/support/engine_run.h"
#include "tests/support/long_run.h"
#include "tmxtools/banking/callback.h"
#include "tmxtools/banking/progress.h"
#include "tmxtools/core/error.h"
#include "tmxtools/macro/banking_engine.h"

namespace {

using namespace tmx::test;
using testing::IsSubsetOf;
using testing::IsSupersetOf;

// Knows all objects that were made, and by their links also when one dies, whoever destroyed it.
template <class T>
class Pool {
 public:
  T* Add(T* object) {
    objects_.emplace_back(object);
    return object;
  }
  std::size_t Size() {
    std::erase_if(objects_, [](const auto& object) { return object.Get() == nullptr; });
    return objects_.size();
  }
  T* Pick(std::mt19937& random) {
    const std::size_t size = Size();
    return size == 0 ? nullptr : objects_[random() % size].Get();
  }
  void DestroyAll() {
    while (Size() > 0) std::unique_ptr<T>(objects_.back().Get());
  }

 private:
  std::vector<tmx::ObjectPtr<T>> objects_;
};

// A macro that has the user asked for a PIN, and then uses what may have died meanwhile: the
// dialog's variable, the request's values and the response under construction.
tmx::MacroImage AskingMacro() {
  constexpr unsigned kSecurity = 60, kRequestField = 69, kResponseField = 6, kString = 1;
  tmx::CodeBuilder code;
  for (const auto& [opcode, holder, field] : {std::array{kSecurity, 33U, 4096U},
                                              {kRequestField, 34U, 2010U},
                                              {kResponseField, 35U, 2010U}})
    code.Op(opcode, 3).Byte(kString).U16(holder).U32(field);
  code.Op(38, 1).Str("HISAL");               // begins a response
  code.Op(27, 1).U16(33).Op(24, 1).U16(33);  // forgets the PIN and needs it
  code.Op(26, 0).Op(18, 0);                  // asks
  for (const int holder : {35, 34}) code.Op(3, 3).Byte(kString).Var(holder).Str("value");
  code.Op(39, 0).Op(22, 1).Int(9010);  // hands the response over, with a code
  return tmx::ImageBuilder("test").Sub("SUB", code.Op(7, 1).Var(33).Exit()).Build();
}

// The files of the macro, on a disk in memory.
class MacroDisk {
 public:
  MacroDisk() {
    env_.MakeDir(tmx::EngineHost::kMacroDir);
    for (const tmx::MacroImage& file : {AskingMacro(), tmx::ImageBuilder("general").Build()}) {
      const std::string path = std::string(tmx::EngineHost::kMacroDir) + "/" + file.name;
      env_.Put(path + ".hbz", *file.index);
      env_.Put(path + ".hbx", *file.code);
    }
  }

 private:
  tmx::MemoryEnv env_;
  tmx::ScopedEnv scoped_{env_};
};

class World {
 public:
  // What the engine's runs came to.
  struct Tally {
    int asked = 0;                // the security handler was called
    int changed = 0;              // and has changed the tree
    int refused = 0;              // a run within a run
    std::set<unsigned> outcomes;  // codes; 0 without an error
  };

  explicit World(unsigned seed) : random_(seed) {
    users_[1].SetMedia(SecurityMediaCard);
    progress_.SetStatusLink(Link([this](void*) {
      ChangeTree();  // and the record
      return 0L;
    }));
    engine_.SetSecurityHdl(
        Link([this](void* data) { return Give(*static_cast<HbCallbackData*>(data)); }));
  }
  ~World() {
    // Jobs and free dialogs first in half of the worlds; what they own goes with them.
    if (Chance(2)) jobs_.DestroyAll();
    if (Chance(2)) messages_.DestroyAll();
    requests_.DestroyAll();
    dialogs_.DestroyAll();
    messages_.DestroyAll();
    jobs_.DestroyAll();
    requests_.DestroyAll();
  }

  void Step() {
    const Operation operations[] = {
        &World::MakeJob,       &World::MakeDialog,   &World::MakeMessage,  &World::MakeMessage,
        &World::MakeRequest,   &World::MakeRequest,  &World::MakeRequest,  &World::InsertRequest,
        &World::InsertRequest, &World::AddToMessage, &World::AddToMessage, &World::AddToMessage,
        &World::AddToDialog,   &World::AddToDialog,  &World::AddMsg,       &World::Presign,
        &World::Presign,       &World::Detach,       &World::Members,      &World::Answers,
        &World::Respond,       &World::Respond,      &World::Statuses,     &World::Unlinks,
        &World::Clear,         &World::DestroyOne,   &World::DestroyOne,   &World::Progress,
        &World::Ask,           &World::Look};
    (this->*operations[random_() % std::size(operations)])();
    KeepSmall();
  }
  const Tally& Runs() const { return tally_; }

 private:
  using Operation = void (World::*)();

  bool Chance(unsigned of) { return random_() % of == 0; }
  unsigned short Small() { return static_cast<unsigned short>(random_() % 4); }
  HbRole Role() { return static_cast<HbRole>(random_() % 6); }
  const HbUser* User() { return Chance(4) ? nullptr : &users_[random_() % users_.size()]; }
  const char* Name() {
    constexpr const char* kNames[] = {"HKSAL", "HKKAZ", "HKSYN", "HKSAK", "HKCCS"};
    return kNames[random_() % std::size(kNames)];
  }
  HbRequest* FreshRequest() {
    HbRequest* const request = requests_.Add(NewRequest(Name(), Small()).release());
    request->AddUser(User(), Role());
    return request;
  }

  void MakeJob() { jobs_.Add(std::make_unique<HbJob>().release()); }
  void MakeDialog() { dialogs_.Add(std::make_unique<HbDialog>(jobs_.Pick(random_)).release()); }
  void MakeMessage() {
    messages_.Add(std::make_unique<HbMessage>(Small(), User(), User(), User()).release());
  }
  void MakeRequest() {
    HbRequest* const request = FreshRequest();
    request->CreateItem("HNVSD", 1);
    request->SetSignIt(Chance(2));
  }
  void InsertRequest() {
    if (HbJob* const job = jobs_.Pick(random_)) job->InsertRequest(requests_.Pick(random_));
  }
  void AddToMessage() {
    HbMessage* const message = messages_.Pick(random_);
    HbRequest* const request = requests_.Pick(random_);
    if (message == nullptr || request == nullptr) return;
    if (Chance(2)) {
      message->AddRequest(*request);
    } else {
      request->AddToMsg(*message);
    }
  }
  void AddToDialog() {
    HbJob* const job = jobs_.Pick(random_);
    HbMessage* const message = messages_.Pick(random_);
    if (job == nullptr || message == nullptr) return;
    const HbDialog* const after = Chance(4) ? dialogs_.Pick(random_) : nullptr;
    try {
      HbDialog* const dialog = job->AddToDialog(*message, after);
      if (dialog != nullptr && dialog->MessageCount() == 1) dialogs_.Add(dialog);
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), kNotFound);
    }
  }
  void AddMsg() {
    HbDialog* const dialog = dialogs_.Pick(random_);
    HbMessage* const message = messages_.Pick(random_);
    if (dialog != nullptr && message != nullptr) dialog->AddMsg(*message, Small());
  }
  void Presign() {
    HbRequest* const request = requests_.Pick(random_);
    if (request == nullptr) return;
    unsigned char block[40] = {};
    for (const int i : {1, 3, 5}) block[i] = static_cast<unsigned char>(Small());
    for (const int i : {6, 9, 12}) block[i + 1] = 1;
    block[16] = static_cast<unsigned char>(Small());
    HbError error;
    request->InsertSignature(error, block, random_() % sizeof block, Role());
    if (request->GetMessage() != nullptr) messages_.Add(request->GetMessage());
  }
  void Detach() {
    HbRequest* const request = requests_.Pick(random_);
    if (request == nullptr) return;
    std::vector<unsigned char> block(request->GetSignSize(HbRoleIssuer));
    unsigned long length = block.size();
    request->GetSign(HbRoleIssuer, block.data(), length);
    String tan;
    request->GetTANFromSignature(Role(), tan);
    if (HbMessage* const message = messages_.Pick(random_)) {
      const unsigned char bytes[] = {'1', ';', '2'};
      for (int part = 0; part < 3; ++part)
        message->SetSign(Role(), static_cast<HbSignDataType>(part), bytes, Small() % 4);
      if (Chance(8)) message->ClearSignatures();
    }
  }
  void Members() {
    HbMessage* const message = messages_.Pick(random_);
    if (message == nullptr) return;
    HbRequest* const request = Chance(3) ? requests_.Pick(random_) : FreshRequest();
    switch (random_() % 5) {
      case 0:
        return message->SetMsgHead(request);
      case 1:
        return message->SetMsgTail(request);
      case 2:
        return message->SetCryptMembers(request, message->GetCryptHead());
      case 3:
        return message->SetCryptMembers(message->GetCryptedData(), request);
      default:
        message->SetCryptedSegsRep(std::make_unique<SvCacheStream>().release());
    }
  }
  void Answers() {
    HbMessage* const message = messages_.Pick(random_);
    if (message == nullptr) return;
    message->SetAnswSignHead(MakeSegment("HNSHK").Release());
    message->SetAnswSignTail(MakeSegment("HNSHA").Release());
    message->SetAnswCryptHead(MakeSegment("HNVSK").Release());
    message->SetAnswCryptData(MakeSegment("HNVSD").Release());
    if (Chance(2)) message->ClearAnswCryptMembers();
  }
  HbObject* AnyObject() {
    switch (random_() % 4) {
      case 0:
        return jobs_.Pick(random_);
      case 1:
        return dialogs_.Pick(random_);
      case 2:
        return messages_.Pick(random_);
      default:
        return requests_.Pick(random_);
    }
  }
  void Respond() {
    HbObject* const object = AnyObject();
    if (object == nullptr) return;
    switch (random_() % 5) {
      case 0:
        return object->InsertErrorResponse(HbError(17636, HbError(17640)));
      case 1:
        return object->ReverseResponses();
      case 2:
        return object->RemoveResponse(Small());
      case 3:
        return object->ClearResponses();
      default:
        object->InsertResponse(CodeSegment(Chance(2) ? "HIRMG" : "HIRMS", {20, 3040}).Get());
    }
  }
  void Statuses() {
    HbObject* const object = AnyObject();
    if (object == nullptr) return;
    switch (random_() % 3) {
      case 0:
        return object->Reset();
      case 1:
        return object->Cancel();
      default:
        object->Skip();
    }
  }
  void Unlinks() {
    HbJob* const job = jobs_.Pick(random_);
    HbDialog* const dialog = dialogs_.Pick(random_);
    HbMessage* const message = messages_.Pick(random_);
    HbRequest* const request = requests_.Pick(random_);
    if (job == nullptr || dialog == nullptr || message == nullptr || request == nullptr) return;
    switch (random_() % 6) {
      case 0:
        return Unlink(*job, *request);
      case 1:
        return Unlink(*job, *dialog);
      case 2:
        return Unlink(*dialog, *message);
      case 3:
        return Unlink(*message, *request);
      case 4:
        return request->RemoveFromMsg(*message);
      default:
        job->RemoveRequest(request);
    }
  }
  void Clear() {
    HbJob* const job = jobs_.Pick(random_);
    HbDialog* const dialog = dialogs_.Pick(random_);
    HbMessage* const message = messages_.Pick(random_);
    if (job == nullptr || dialog == nullptr || message == nullptr) return;
    switch (random_() % 6) {
      case 0:
        return job->ClearDialogs();
      case 1:
        return job->ClearRequests();
      case 2:
        return job->RemoveAllRequests();
      case 3:
        return job->ClearPreSignedMessages();
      case 4:
        return dialog->ClearMessages();
      default:
        message->ClearRequests();
    }
  }
  void DestroyOne() { const std::unique_ptr<HbObject> gone(AnyObject()); }
  void Progress() {
    progress_.SetCurrentRequest(requests_.Pick(random_));
    progress_.SetPercentDonePerStep(100);
    progress_.StepDone(true);
    if (const HbRequest* const request = progress_.GetCurrentRequest()) request->GetRequestName();
  }
  // Re-entry: the host changes the tree while it is called. False when it did not.
  bool ChangeTree() {
    if (depth_ == 3) return false;
    ++depth_;
    Step();
    --depth_;
    return true;
  }
  // Lets the engine run the macro for a request, whose tree may be one or not.
  void Ask() {
    HbRequest* const request = requests_.Pick(random_);
    HbMessage* const message = messages_.Pick(random_);
    if (request == nullptr || message == nullptr) return;
    if (!Chance(8)) request->SetClientData(message);
    if (!Chance(8)) message->SetClientData(dialogs_.Pick(random_));
    if (!is_running_) engine_.SetRequest(request);
    HbError error;
    HbStackFrame* frame = engine_.LoadSub("SUB", error);
    if (frame == nullptr && engine_.PushFile("test", error)) frame = engine_.LoadSub("SUB", error);
    ASSERT_NE(frame, nullptr);
    error.Clear();
    if (is_running_) {
      EXPECT_FALSE(engine_.Call(frame, error));
      EXPECT_EQ(error.GetCode(), 17499);
      ++tally_.refused;
      return;
    }
    is_running_ = true;
    engine_.Call(frame, error);
    is_running_ = false;
    tally_.outcomes.insert(error.IsSet() ? error.GetCode() : 0);
  }
  // The security handler of that run: whatever it does, the run goes on or ends with an error.
  long Give(HbCallbackData& data) {
    ++tally_.asked;
    if (HbVariable* const pin = data.GetParameters()->GetValue(4096))
      static_cast<HbStringVariable*>(pin)->Set("12345");
    if (ChangeTree()) ++tally_.changed;
    if (data.GetRequest() != nullptr) data.GetRequest()->GetRequestName();
    if (Chance(8)) engine_.SetRequest(requests_.Pick(random_));
    if (Chance(8)) engine_.ClearFiles(true);
    if (Chance(8)) engine_.Stop(true);
    return Chance(8) ? 0 : 1;
  }
  void Look() {
    const HbRequest* const request = requests_.Pick(random_);
    if (request == nullptr) return;
    const HbMessage* const message = request->GetMessage();
    EXPECT_EQ(HbMessage::FindLive(message), message);
    const unsigned short place = request->GetRequestId();
    if (place != HbRequest::kUnknown) EXPECT_EQ((*message)[place], request);
    if (request->GetMessageId() != HbRequest::kUnknown)
      EXPECT_EQ(HbDialog::FindLive(message->GetDialog()), message->GetDialog());
    request->GetDialogId();
    request->GetSendingUser();
    const unsigned short responses = request->ResponseCount(15);
    if (responses > 0) EXPECT_NE(request->GetResponse(responses - 1, 15), nullptr);
  }
  void KeepSmall() {
    while (requests_.Size() > 60) const std::unique_ptr<HbRequest> gone(requests_.Pick(random_));
    while (messages_.Size() > 40) const std::unique_ptr<HbMessage> gone(messages_.Pick(random_));
    while (dialogs_.Size() > 20) const std::unique_ptr<HbDialog> gone(dialogs_.Pick(random_));
    while (jobs_.Size() > 6) const std::unique_ptr<HbJob> gone(jobs_.Pick(random_));
  }

  std::mt19937 random_;
  std::array<HbUser, 3> users_;
  Pool<HbJob> jobs_;
  Pool<HbDialog> dialogs_;
  Pool<HbMessage> messages_;
  Pool<HbRequest> requests_;
  HbProgressInfoRecord progress_;
  int depth_ = 0;
  HbMacroEngine engine_{tmx::EngineHost::kMacroPath};
  bool is_running_ = false;
  Tally tally_;
};

TEST(RandomTrees, NeverLeakNorDangle) {
  const MacroDisk disk;
  for (unsigned seed = 1; seed <= tmx::test::Runs(2u, 20u); ++seed) {
    World world(seed);
    for (int i = 0; i < 100000; ++i) world.Step();
    EXPECT_GT(world.Runs().asked, 1000);
    EXPECT_GT(world.Runs().changed, 1000);
    EXPECT_GT(world.Runs().refused, 10);
    // Done; a dead request, registry or response; no data; no tree; stopped; no request.
    EXPECT_THAT(world.Runs().outcomes, IsSubsetOf({0U, 17490U, 17497U, 17498U, 17500U, 17501U}));
    EXPECT_THAT(world.Runs().outcomes, IsSupersetOf({0U, 17490U, 17498U, 17500U}));
  }
}

}  // namespace
