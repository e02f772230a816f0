// The fields of segments: one table for the macros, the host and the docs.
//
// A field means the same in every segment that has it, whatever the segment's version: a host looks
// for the booked amount of a balance under one id. The k-th of repeated fields stands k steps
// behind the first; the step belongs to the layout of the segment (layouts.h). Macros see a field
// as a variable of its name, hosts as tmx::demo::field::kName.
//
// Some ids are given: 1000 and 1020 are a segment's identifier and version; the return codes, the
// account number of HIUPD and its jobs are looked up by the library itself.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace tmx::demo {

enum class FieldType : std::uint8_t {
  kText,    // string
  kInt,     // 16 bits
  kNumber,  // 32 bits
  kAmount,
  kDate,
  kYesNo,   // bool, J or N in a segment
  kBinary,  // bytes of any length
};

// FIELD(name, id, type, meaning)
// clang-format off
#define TMX_SEGMENT_FIELDS(FIELD)                                                                  \
  /* the head of every segment */                                                                  \
  FIELD(SegmentCode, 1000, Text, "identifier of the segment")                                      \
  FIELD(SegmentNumber, 1010, Number, "number of the segment in its message")                       \
  FIELD(SegmentVersion, 1020, Int, "version of the segment")                                       \
  FIELD(SegmentReference, 1030, Number, "number of the segment that is answered")                  \
  /* parameter data of the bank and the user */                                                    \
  FIELD(BpdVersion, 2000, Number, "version of the bank's parameters, 0 for none")                  \
  FIELD(BankName, 2010, Text, "name of the bank")                                                  \
  FIELD(MaxJobKinds, 2020, Number, "kinds of orders that a message may hold, 0 for any")           \
  FIELD(MaxMessageSize, 2030, Number, "largest message, in KB; 0 for no limit")                    \
  FIELD(MinTimeout, 2040, Number, "seconds that a client should wait at least")                    \
  FIELD(MaxTimeout, 2050, Number, "seconds after which a client may give up")                      \
  FIELD(Language, 2100, Int, "languages of the bank: 1 German, 2 English, 3 French")               \
  FIELD(StandardVersion, 2200, Number, "versions of the standard that the bank speaks")            \
  FIELD(UserId, 2300, Text, "user id")                                                             \
  FIELD(UpdVersion, 2310, Number, "version of the user's parameters, 0 for none")                  \
  FIELD(UpdUsage, 2320, Text, "0: an order that the parameters do not name is forbidden; 1: "      \
                              "it may be allowed")                                                 \
  FIELD(UserName, 2330, Text, "name of the user")                                                  \
  FIELD(UserData, 2340, Text, "further data of the user's parameters")                             \
  FIELD(DefaultLanguage, 2350, Int, "language of the access")                                      \
  FIELD(MixingAllowed, 2400, YesNo, "whether security methods may be mixed")                       \
  FIELD(CustomerId, 2500, Text, "customer id")                                                     \
  FIELD(SystemId, 2510, Text, "id of the customer's system, 0 for none yet")                       \
  FIELD(SystemStatus, 2520, Text, "whether the system id is needed: 0 or 1")                       \
  FIELD(Currency, 2530, Text, "currency of the account")                                           \
  FIELD(OwnerName, 2540, Text, "name of the account's owner")                                      \
  FIELD(OwnerName2, 2550, Text, "second part of the owner's name")                                 \
  FIELD(AccountProduct, 2560, Text, "what the bank calls the account")                             \
  FIELD(AccountType, 2570, Text, "kind of the account")                                            \
  FIELD(LimitType, 2580, Text, "kind of the account's limit")                                      \
  FIELD(LimitAmount, 2590, Amount, "limit of the account")                                         \
  FIELD(LimitCurrency, 2600, Text, "currency of the limit")                                        \
  FIELD(LimitDays, 2610, Number, "days that the limit holds for")                                  \
  FIELD(AccountData, 2620, Text, "further data of the account")                                    \
  FIELD(MessageNumber, 2700, Number, "number of a message, as the bank knows it")                  \
  FIELD(SignatureId, 2710, Text, "last signature id that the bank saw")                            \
  FIELD(SignatureId2, 2720, Text, "last signature id of the signature for signing only")           \
  FIELD(MaxJobs, 2800, Number, "orders of the kind that a message may hold")                       \
  FIELD(MinSignatures, 2810, Number, "signatures that an order of the kind needs")                 \
  FIELD(SecurityClass, 2820, Text, "security class of the kind of order")                          \
  FIELD(PinMinLength, 2830, Number, "characters that a PIN has at least")                          \
  FIELD(PinMaxLength, 2840, Number, "characters that a PIN has at most")                           \
  FIELD(TanMaxLength, 2850, Number, "characters that a TAN has at most")                           \
  FIELD(UserIdText, 2860, Text, "what the bank calls the user id")                                 \
  FIELD(CustomerIdText, 2870, Text, "what the bank calls the customer id")                         \
  FIELD(OneStepAllowed, 2900, YesNo, "whether orders may go without a two-step procedure")         \
  FIELD(ManyTansAllowed, 2910, YesNo, "whether a message may hold several orders with a TAN")      \
  FIELD(HashMethod, 2920, Text, "how the hash of an order is made, 0 for none")                    \
  FIELD(DialogLanguage, 2950, Int, "language that the dialog is in, 0 for the default")            \
  FIELD(ProductName, 2960, Text, "registration number of the client's product")                    \
  FIELD(ProductVersion, 2970, Text, "version of the client's product")                             \
  FIELD(SyncMode, 2980, Int, "what HKSYN asks for: 0 a new system id")                             \
  FIELD(DialogId, 2990, Text, "id of the dialog")                                                  \
  FIELD(Service, 3000, Int, "ways to reach the bank: 1 dial-up, 2 TCP/IP, 3 HTTPS")                \
  FIELD(ServiceAddress, 3001, Text, "address of the service")                                      \
  FIELD(ServiceAddress2, 3002, Text, "second part of the address")                                 \
  FIELD(ServiceFilter, 3003, Text, "coding of the transport: MIM or UUE")                          \
  FIELD(ServiceFilterVersion, 3004, Number, "version of the coding")                               \
  FIELD(Method, 4000, Text, "security methods of the bank")                                        \
  FIELD(MethodVersion, 4001, Number, "versions of the method")                                     \
  /* balances and statements */                                                                    \
  FIELD(BookedSign, 5000, Text, "C or D: sign of the booked balance")                              \
  FIELD(BookedAmount, 5010, Amount, "booked balance without its sign")                             \
  FIELD(BookedCurrency, 5020, Text, "currency of the booked balance")                              \
  FIELD(BookedDate, 5030, Date, "day of the booked balance")                                       \
  FIELD(BookedTime, 5040, Text, "time of the booked balance, HHMMSS")                              \
  FIELD(PendingSign, 5100, Text, "C or D: sign of the pending balance")                            \
  FIELD(PendingAmount, 5110, Amount, "balance of pending orders without its sign")                 \
  FIELD(PendingCurrency, 5120, Text, "currency of the pending balance")                            \
  FIELD(PendingDate, 5130, Date, "day of the pending balance")                                     \
  FIELD(PendingTime, 5140, Text, "time of the pending balance, HHMMSS")                            \
  FIELD(CreditLine, 5200, Amount, "credit line")                                                   \
  FIELD(CreditLineCurrency, 5210, Text, "currency of the credit line")                             \
  FIELD(Available, 5220, Amount, "amount that is available")                                       \
  FIELD(AvailableCurrency, 5230, Text, "currency of the available amount")                         \
  FIELD(Used, 5240, Amount, "amount that has been used")                                           \
  FIELD(UsedCurrency, 5250, Text, "currency of the used amount")                                   \
  FIELD(Overdraft, 5260, Amount, "overdraft")                                                      \
  FIELD(OverdraftCurrency, 5270, Text, "currency of the overdraft")                                \
  FIELD(BalanceDate, 5300, Date, "day that the balance was made")                                  \
  FIELD(BalanceTime, 5310, Text, "time that the balance was made, HHMMSS")                         \
  FIELD(DueDate, 5320, Date, "day that a credit card bill is due")                                 \
  FIELD(Statement, 50000000, Binary, "booked transactions: MT940, or camt one day each")               \
  FIELD(PendingStatement, 6500, Binary, "transactions not yet booked")                             \
  FIELD(CamtFormat, 6510, Text, "format of the statement")                                         \
  FIELD(AllAccounts, 6600, YesNo, "whether all accounts of the customer are meant")                \
  FIELD(MaxEntries, 6610, Number, "entries that the answer may hold")                              \
  FIELD(Touchdown, 6620, Text, "mark at which an answer goes on")                                  \
  FIELD(FromDate, 6630, Date, "first day")                                                         \
  FIELD(ToDate, 6640, Date, "last day")                                                            \
  FIELD(StorageDays, 6650, Number, "days that statements are kept for")                            \
  FIELD(MaxEntriesAllowed, 6660, YesNo, "whether MaxEntries may be given")                         \
  FIELD(AllAccountsAllowed, 6670, YesNo, "whether AllAccounts may be given")                       \
  FIELD(CamtFormats, 6700, Text, "formats that are understood or offered")                         \
  FIELD(PainFormat, 6800, Text, "format of the order, a URN")                                      \
  FIELD(PainMessage, 6810, Binary, "the order, a pain.001")                                        \
  FIELD(SingleAccountAllowed, 6900, YesNo, "whether HKSPA may name accounts")                      \
  FIELD(NationalAccountAllowed, 6910, YesNo, "whether orders may name national accounts")          \
  FIELD(StructuredPurposeAllowed, 6920, YesNo, "whether structured purposes are allowed")          \
  FIELD(SepaFormat, 6950, Text, "pain formats that the bank takes")                                \
  /* TAN */                                                                                        \
  FIELD(TanProcess, 8000, Text, "process of HKTAN: 4 order, 2 TAN, S state of a confirmation")     \
  FIELD(OrderHash, 8010, Binary, "hash of the order")                                              \
  FIELD(OrderReference, 8020, Text, "the bank's reference of the order")                           \
  FIELD(Challenge, 8030, Text, "what the user is told")                                            \
  FIELD(ChallengeHhdUc, 8040, Binary, "picture or flicker code of the challenge")                  \
  FIELD(ChallengeDate, 8050, Date, "day that the challenge ends")                                  \
  FIELD(ChallengeTime, 8060, Text, "time that the challenge ends, HHMMSS")                         \
  FIELD(TanListIndex, 8070, Text, "number of the TAN on the list")                                 \
  FIELD(TanBeneficiary, 8080, Text, "initials for the TAN")                                        \
  FIELD(TanMedium, 8090, Text, "name of the TAN medium")                                           \
  FIELD(OrderCode, 8100, Text, "identifier of the order's segment")                                \
  FIELD(MoreTansFollow, 8110, YesNo, "whether further TANs follow for the order")                  \
  FIELD(CancelOrder, 8120, YesNo, "whether the order is cancelled")                                \
  FIELD(SmsAccountNumber, 8130, Text, "account that pays for messages")                            \
  FIELD(SmsSubaccount, 8140, Text, "its subaccount")                                               \
  FIELD(SmsCountry, 8150, Number, "its bank's country")                                            \
  FIELD(SmsBankCode, 8160, Text, "its bank code")                                                  \
  FIELD(ChallengeClass, 8170, Text, "class of the challenge")                                      \
  FIELD(HhdUcAnswer, 8180, Text, "answer of the TAN generator")                                    \
  FIELD(ChallengeParameter, 8200, Text, "parameters of the challenge")                             \
  FIELD(TanOption, 8300, Text, "how TAN media may be used: 0 any, 1 one, 2 the active ones")       \
  FIELD(MediumKind, 8310, Text, "media that are asked for: 0 all, 1 active, 2 available")          \
  FIELD(MediumClassWanted, 8320, Text, "class that is asked for, A for all")                       \
  /* the message around the segments */                                                            \
  FIELD(MessageSize, 9000, Text, "bytes of the message, 12 digits")                                \
  FIELD(AnsweredDialog, 9010, Text, "dialog of the message that is answered")                      \
  FIELD(AnsweredMessage, 9020, Number, "number of the message that is answered")                   \
  FIELD(ControlReference, 9030, Text, "what ties the two ends of a signature together")            \
  FIELD(MessageDate, 9040, Date, "day of the message")                                             \
  FIELD(MessageTime, 9050, Text, "time of the message, HHMMSS")                                    \
  /* return codes */                                                                               \
  FIELD(ReturnCode, 60000, Int, "return code")                                                     \
  FIELD(ReturnElement, 60010, Text, "element that the code is about")                              \
  FIELD(ReturnText, 60020, Text, "text of the code")                                               \
  FIELD(ReturnParameter, 60030, Text, "parameters of the code")                                    \
  /* accounts */                                                                                   \
  FIELD(AccountNumber, 10000000, Text, "account number")                                           \
  FIELD(Subaccount, 10000010, Text, "mark of a subaccount")                                        \
  FIELD(Country, 10000020, Number, "country of the bank, 280 for Germany")                         \
  FIELD(BankCode, 10000030, Text, "bank code")                                                     \
  FIELD(Iban, 10000040, Text, "IBAN")                                                              \
  FIELD(Bic, 10000050, Text, "BIC")                                                                \
  FIELD(IsSepaAccount, 10000060, YesNo, "whether the account takes SEPA orders")                   \
  FIELD(AllowedJob, 12024320, Text, "orders that the account allows")                              \
  FIELD(AllowedJobSignatures, 12024330, Int, "signatures that the order needs")                    \
  FIELD(AllowedJobLimitType, 12024340, Text, "kind of the order's limit")                          \
  FIELD(AllowedJobLimit, 12024350, Amount, "limit of the order")                                   \
  FIELD(AllowedJobLimitCurrency, 12024360, Text, "currency of the order's limit")                  \
  FIELD(AllowedJobLimitDays, 12024370, Number, "days that the order's limit holds for")            \
  /* TAN media */                                                                                  \
  FIELD(MediumClass, 20000000, Text, "class of a TAN medium: L list, G generator, M mobile")       \
  FIELD(MediumStatus, 20000010, Text, "1 active, 2 available, 3 active follow-up, 4 follow-up")    \
  FIELD(MediumSecurityFunction, 20000020, Text, "security function of the medium")                 \
  FIELD(MediumCard, 20000030, Text, "card number")                                                 \
  FIELD(MediumCardSequence, 20000040, Text, "card sequence number")                                \
  FIELD(MediumCardType, 20000050, Text, "kind of the card")                                        \
  FIELD(MediumAccount, 20000060, Text, "account of the card")                                      \
  FIELD(MediumSubaccount, 20000070, Text, "its subaccount")                                        \
  FIELD(MediumCountry, 20000080, Number, "its bank's country")                                     \
  FIELD(MediumBankCode, 20000090, Text, "its bank code")                                           \
  FIELD(MediumValidFrom, 20000100, Date, "first day of the medium")                                \
  FIELD(MediumValidTo, 20000110, Date, "last day of the medium")                                   \
  FIELD(MediumList, 20000120, Text, "number of the TAN list")                                      \
  FIELD(MediumName, 20000130, Text, "name of the medium")                                          \
  FIELD(MediumSecretPhone, 20000140, Text, "phone number, partly hidden")                          \
  FIELD(MediumPhone, 20000150, Text, "phone number")                                               \
  FIELD(MediumRest, 20000200, Text, "what follows: paying account, free TANs, last use, ...")      \
  /* which orders need a TAN */                                                                    \
  FIELD(TanJob, 30000000, Text, "identifiers of orders")                                           \
  FIELD(TanNeeded, 30000010, YesNo, "whether the order needs a TAN")                               \
  /* two-step procedures */                                                                        \
  FIELD(SecurityFunction, 40000000, Text, "number of the procedure, as 900")                       \
  FIELD(ProcedureProcess, 40000010, Text, "process of the procedure: 1 or 2")                      \
  FIELD(ProcedureId, 40000020, Text, "technical name")                                             \
  FIELD(ProcedureZkaName, 40000030, Text, "name in the standard, as Decoupled")                    \
  FIELD(ProcedureZkaVersion, 40000040, Text, "version of that")                                    \
  FIELD(ProcedureName, 40000050, Text, "name for the user")                                        \
  FIELD(ProcedureTanLength, 40000060, Number, "characters that a TAN has at most")                 \
  FIELD(ProcedureTanFormat, 40000070, Text, "1 digits, 2 letters and digits")                      \
  FIELD(ProcedureInputText, 40000080, Text, "what the TAN is called")                              \
  FIELD(ProcedureReplyLength, 40000090, Number, "characters that a challenge has at most")         \
  FIELD(ProcedureManyTans, 40000100, YesNo, "whether an order may need several TANs")              \
  FIELD(ProcedureDelay, 40000110, Text, "whether the TAN may come later, or from others")          \
  FIELD(ProcedureCancel, 40000120, YesNo, "whether orders can be cancelled")                       \
  FIELD(ProcedureSmsAccount, 40000130, Text, "whether the paying account is named: 0, 1, 2")       \
  FIELD(ProcedureOrderAccount, 40000140, Text, "whether HKTAN names the order's account: 0, 2")    \
  FIELD(ProcedureChallengeClass, 40000150, YesNo, "whether a challenge class is named")            \
  FIELD(ProcedureStructured, 40000160, YesNo, "whether challenges are structured")                 \
  FIELD(ProcedureInitMode, 40000170, Text, "how a dialog begins")                                  \
  FIELD(ProcedureMediumNeeded, 40000180, Text, "whether a medium must be named: 0, 1, 2")          \
  FIELD(ProcedureHhdAnswer, 40000190, YesNo, "whether the generator's answer is sent")             \
  FIELD(ProcedureActiveMedia, 40000200, Number, "media that can be active at once")                \
  FIELD(ProcedureMaxRequests, 40000210, Number, "questions after a confirmation, at most")         \
  FIELD(ProcedureWaitFirst, 40000220, Number, "seconds until the first question")                  \
  FIELD(ProcedureWaitNext, 40000230, Number, "seconds between questions")                          \
  FIELD(ProcedureManual, 40000240, YesNo, "whether the user may say that it is confirmed")         \
  FIELD(ProcedureAutomatic, 40000250, YesNo, "whether the client may ask by itself")
// clang-format on

// The elements of a segment without a layout stand as texts: part p (from 0) of element e (from 1)
// under kOtherElements + e * kOtherElementStep + p.
inline constexpr std::uint32_t kOtherElements = 900000000;
inline constexpr std::uint32_t kOtherElementStep = 1000;

// A value that does not read as its type stands as text under its id plus this.
inline constexpr std::uint32_t kAsItStood = 1000000000;

namespace field {
#define TMX_FIELD_CONSTANT(name, id, type, meaning) inline constexpr unsigned long k##name = id;
TMX_SEGMENT_FIELDS(TMX_FIELD_CONSTANT)
#undef TMX_FIELD_CONSTANT
}  // namespace field

struct Field {
  const char* name;
  std::uint32_t id;
  FieldType type;
  const char* meaning;
};

// All fields, in the order of the table.
std::span<const Field> AllFields();
// Null for an unknown name.
const Field* FindField(std::string_view name);

}  // namespace tmx::demo
