#include "archivefile/foundation/Sha1.h"

#include <openssl/evp.h>

#include "archivefile/foundation/GenericError.h"

namespace archivefile {

namespace {

void start(EVP_MD_CTX* context) {
    if (EVP_DigestInit_ex(context, EVP_sha1(), nullptr) != 1) raise(GE_OutOfMemory);
}

}  // namespace

void Sha1::ContextDeleter::operator()(evp_md_ctx_st* context) const { EVP_MD_CTX_free(context); }

Sha1::Sha1() : context_(EVP_MD_CTX_new()) {
    if (!context_) raise(GE_OutOfMemory);
    start(context_.get());
}

Sha1::~Sha1() = default;

void Sha1::update(std::span<const std::uint8_t> bytes) {
    if (!bytes.empty() && EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size()) != 1)
        raise(GE_CodeBug);
}

Sha1::Digest Sha1::final() {
    Digest digest{};
    auto* context = context_.get();
    if (EVP_DigestFinal_ex(context, digest.data(), nullptr) != 1) raise(GE_CodeBug);
    start(context);
    return digest;
}

Sha1::Digest Sha1::of(std::span<const std::uint8_t> bytes) {
    Sha1 sha;
    sha.update(bytes);
    return sha.final();
}

std::string Sha1::hexText(std::span<const std::uint8_t> bytes) {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text.push_back(digits[byte >> 4]);
        text.push_back(digits[byte & 0x0F]);
    }
    return text;
}

}  // namespace archivefile
