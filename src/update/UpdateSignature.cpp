#include "update/UpdateSignature.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sodium.h>
#include <unistd.h>
#include <vector>

#ifndef QUILLO_UPDATE_PUBLIC_KEY
#define QUILLO_UPDATE_PUBLIC_KEY ""
#endif

namespace fs = std::filesystem;

namespace {

constexpr size_t kChunk = size_t(1) << 20;

// Feeds the whole file to the signing state.
Result<void> hashFile(const fs::path& file, crypto_sign_state& state)
{
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::unexpected(Error::fromErrno(errno, file));
    std::vector<unsigned char> buffer(kChunk);
    Result<void> result;
    while (true) {
        const ssize_t got = ::read(fd, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            result = std::unexpected(Error::fromErrno(errno, file));
            break;
        }
        if (got == 0)
            break;
        crypto_sign_update(&state, buffer.data(), size_t(got));
    }
    ::close(fd);
    return result;
}

void initSodium()
{
    // Thread-safe and idempotent; it fails only without a random source.
    [[maybe_unused]] static const int ready = sodium_init();
}

} // namespace

namespace UpdateSignature {

std::optional<PublicKey> parsePublicKey(std::string_view hex)
{
    PublicKey key{};
    if (hex.size() != key.size() * 2)
        return std::nullopt;
    size_t length = 0;
    const char* end = nullptr;
    if (sodium_hex2bin(key.data(), key.size(), hex.data(), hex.size(), nullptr, &length, &end) !=
            0 ||
        length != key.size() || end != hex.data() + hex.size())
        return std::nullopt;
    return key;
}

std::string toHex(const PublicKey& key)
{
    std::string hex(key.size() * 2 + 1, '\0');
    sodium_bin2hex(hex.data(), hex.size(), key.data(), key.size());
    hex.pop_back();
    return hex;
}

std::optional<PublicKey> builtInKey()
{
    return parsePublicKey(QUILLO_UPDATE_PUBLIC_KEY);
}

std::optional<Signature> parseSignature(std::string_view bytes)
{
    Signature signature{};
    if (bytes.size() != signature.size())
        return std::nullopt;
    std::copy(bytes.begin(), bytes.end(), signature.begin());
    return signature;
}

std::pair<PublicKey, SecretKey> generateKeyPair()
{
    initSodium();
    std::pair<PublicKey, SecretKey> pair;
    crypto_sign_keypair(pair.first.data(), pair.second.data());
    return pair;
}

Result<Signature> sign(const fs::path& file, const SecretKey& key)
{
    initSodium();
    crypto_sign_state state;
    crypto_sign_init(&state);
    if (auto hashed = hashFile(file, state); !hashed)
        return std::unexpected(hashed.error());
    Signature signature{};
    crypto_sign_final_create(&state, signature.data(), nullptr, key.data());
    return signature;
}

Result<bool> verify(const fs::path& file, const Signature& signature, const PublicKey& key)
{
    initSodium();
    crypto_sign_state state;
    crypto_sign_init(&state);
    if (auto hashed = hashFile(file, state); !hashed)
        return std::unexpected(hashed.error());
    Signature copy = signature; // the call takes a non-const pointer
    return crypto_sign_final_verify(&state, copy.data(), key.data()) == 0;
}

} // namespace UpdateSignature
