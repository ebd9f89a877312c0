#include "relay/identity.h"

#include "relay/base64.h"
#include "relay/random.h"

#include <openssl/evp.h>

#include <stdexcept>

namespace sorrelwind::relay {

Digest sha256(std::string_view text) {
    Digest digest{};
    if (EVP_Digest(text.data(), text.size(), digest.data(), nullptr, EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
    return digest;
}

std::string newId() {
    std::string id;
    do
        id = base64Url(randomBytes<16>());
    while (id.front() == '-');
    return id;
}

std::string newToken(std::string_view group) {
    return std::string(group) + '.' + base64Url(randomBytes<32>());
}

} // namespace sorrelwind::relay
