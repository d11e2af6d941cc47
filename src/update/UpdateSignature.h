#pragma once

#include "platform/Error.h"

#include <array>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

// Release archives carry a detached Ed25519 signature (the archive's URL + ".sig").
// It is made over the archive's SHA-512 with libsodium's multi-part API
// (crypto_sign_init/update/final_create, "Ed25519ph"), so neither side holds the
// archive in memory; the .sig file is the 64 raw signature bytes.
namespace UpdateSignature {

using PublicKey = std::array<unsigned char, 32>;
using SecretKey = std::array<unsigned char, 64>; // libsodium's seed + public key
using Signature = std::array<unsigned char, 64>;

// 64 hex digits; nullopt for anything else, empty text included.
std::optional<PublicKey> parsePublicKey(std::string_view hex);
std::string toHex(const PublicKey& key);

// The key compiled into release builds (QUILLO_UPDATE_PUBLIC_KEY); none in
// developer builds, which therefore never replace themselves.
std::optional<PublicKey> builtInKey();

// Exactly the 64 raw bytes of a .sig file.
std::optional<Signature> parseSignature(std::string_view bytes);

std::pair<PublicKey, SecretKey> generateKeyPair();

Result<Signature> sign(const std::filesystem::path& file, const SecretKey& key);

// Whether `signature` is `key`'s over the file's bytes; an error only when the file
// cannot be read.
Result<bool> verify(const std::filesystem::path& file, const Signature& signature,
                    const PublicKey& key);

} // namespace UpdateSignature
