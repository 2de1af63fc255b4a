// SHA-1 computed piece by piece, so that a file of any size is hashed without being held in memory.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

// libcrypto's digest context; only Sha1.cpp sees its definition.
struct evp_md_ctx_st;

namespace archivefile {

class Sha1 {
public:
    static constexpr std::size_t DigestSize = 20;
    using Digest = std::array<std::uint8_t, DigestSize>;

    Sha1();
    ~Sha1();
    Sha1(const Sha1&) = delete;
    Sha1& operator=(const Sha1&) = delete;

    void update(std::span<const std::uint8_t> bytes);
    // The digest of everything given so far; the object then starts over for a new message.
    Digest final();

    static Digest of(std::span<const std::uint8_t> bytes);
    // Upper-case hexadecimal, two digits per byte, in the bytes' order: how digests and checksums are shown.
    static std::string hexText(std::span<const std::uint8_t> bytes);

private:
    struct ContextDeleter {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, ContextDeleter> context_;
};

}  // namespace archivefile
