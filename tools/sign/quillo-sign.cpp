// Release signing for in-place updates:
//   quillo-sign keygen SECRET-KEY-FILE   makes a key pair, prints the public key (hex)
//   quillo-sign public SECRET-KEY-FILE   prints the public key of a secret key
//   quillo-sign sign SECRET-KEY-FILE FILE   writes FILE.sig
//   quillo-sign verify PUBLIC-KEY-HEX FILE  checks FILE.sig; exit status 0 when it holds
// The secret key file holds libsodium's 64 bytes (seed, then public key).
#include "update/UpdateSignature.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <unistd.h>

namespace {

std::string readAll(const char* path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Never over an existing file; readable by the owner only.
bool writeNew(const std::string& path, const void* data, size_t size, mode_t mode)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    if (fd < 0) {
        std::perror(path.c_str());
        return false;
    }
    const bool written = ::write(fd, data, size) == ssize_t(size);
    return ::close(fd) == 0 && written;
}

std::optional<UpdateSignature::SecretKey> readSecretKey(const char* path)
{
    const std::string bytes = readAll(path);
    UpdateSignature::SecretKey key{};
    if (bytes.size() != key.size()) {
        std::cerr << path << ": not a 64-byte secret key\n";
        return std::nullopt;
    }
    std::memcpy(key.data(), bytes.data(), key.size());
    return key;
}

UpdateSignature::PublicKey publicPart(const UpdateSignature::SecretKey& secret)
{
    UpdateSignature::PublicKey key{};
    std::memcpy(key.data(), secret.data() + 32, key.size());
    return key;
}

int sign(const char* keyFile, const char* file)
{
    const auto key = readSecretKey(keyFile);
    if (!key)
        return 1;
    const auto signature = UpdateSignature::sign(file, *key);
    if (!signature) {
        std::cerr << file << ": " << std::strerror(signature.error().code) << "\n";
        return 1;
    }
    const std::string target = std::string(file) + ".sig";
    ::unlink(target.c_str()); // a new archive gets a new signature
    return writeNew(target, signature->data(), signature->size(), 0644) ? 0 : 1;
}

int verify(const char* hex, const char* file)
{
    const auto key = UpdateSignature::parsePublicKey(hex);
    const auto signature =
        UpdateSignature::parseSignature(readAll((std::string(file) + ".sig").c_str()));
    if (!key || !signature) {
        std::cerr << "need a 64-digit public key and a 64-byte " << file << ".sig\n";
        return 1;
    }
    const auto valid = UpdateSignature::verify(file, *signature, *key);
    return valid && *valid ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "keygen" && argc == 3) {
        const auto [publicKey, secretKey] = UpdateSignature::generateKeyPair();
        if (!writeNew(argv[2], secretKey.data(), secretKey.size(), 0600))
            return 1;
        std::cout << UpdateSignature::toHex(publicKey) << "\n";
        return 0;
    }
    if (command == "public" && argc == 3) {
        const auto key = readSecretKey(argv[2]);
        if (key)
            std::cout << UpdateSignature::toHex(publicPart(*key)) << "\n";
        return key ? 0 : 1;
    }
    if (command == "sign" && argc == 4)
        return sign(argv[2], argv[3]);
    if (command == "verify" && argc == 4)
        return verify(argv[2], argv[3]);
    std::cerr << "usage: quillo-sign keygen|public SECRET-KEY-FILE\n"
                 "       quillo-sign sign SECRET-KEY-FILE FILE\n"
                 "       quillo-sign verify PUBLIC-KEY-HEX FILE\n";
    return 2;
}
