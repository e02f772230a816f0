#include "tmxtools/banking/signature_data.h"

#include <new>

const SignatureData::Part* SignatureData::FindPart(HbSignDataType type) const noexcept {
  const bool is_known = type >= HbSignDataPart0 && type <= HbSignDataPart2;
  return is_known ? &parts_[static_cast<std::size_t>(type)] : nullptr;
}

unsigned short SignatureData::GetSignSize(HbSignDataType type) const noexcept {
  const Part* const part = FindPart(type);
  return part != nullptr ? part->size : static_cast<unsigned short>(0);
}

const unsigned char* SignatureData::GetSign(HbSignDataType type) const noexcept {
  const Part* const part = FindPart(type);
  return part != nullptr && !part->bytes.empty() ? part->bytes.data() : nullptr;
}

void SignatureData::SetSign(HbSignDataType type, const unsigned char* data,
                            unsigned short size) noexcept {
  if (FindPart(type) == nullptr) return;
  tmx::SecretBytes copy;
  try {
    if (data != nullptr) copy.assign(data, data + size);
  } catch (const std::bad_alloc&) {
    copy.clear();
  }
  Part& part = parts_[static_cast<std::size_t>(type)];
  part.bytes.swap(copy);
  part.size = size;
}
