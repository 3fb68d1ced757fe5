#include "panel/digest.h"

#include <openssl/sha.h>

#include "trel/str.h"

namespace panel {

std::string Sha256(std::string_view bytes) {
  std::string digest(SHA256_DIGEST_LENGTH, '\0');
  SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
         reinterpret_cast<unsigned char*>(digest.data()));
  return str::hex::Encode(digest);
}

}  // namespace panel
