// What the digest and the encryption of the service cost beside the crypto library itself: the same work once
// through CMD5 and CAES and once with bare EVP calls and a method that was looked up before.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>

#include "AES.h"
#include "md5.h"

namespace {

constexpr long kSmallest = 256;       // bytes, a statistics record
constexpr long kUsual = 2048;         // bytes, a ticket request
constexpr long kLargest = 64 * 1024;  // bytes

constexpr unsigned char kKey[AES_128] = {1, 2, 3};
constexpr unsigned char kIv[kAesBlockLength] = {4, 5, 6};

void DigestBare(benchmark::State& state) {
    const std::string text(static_cast<size_t>(state.range(0)), 'x');
    EVP_MD* method = EVP_MD_fetch(nullptr, "MD5", nullptr);
    for (auto _ : state) {
        unsigned char digest[EVP_MAX_MD_SIZE];
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        EVP_DigestInit_ex2(context, method, nullptr);
        EVP_DigestUpdate(context, text.data(), text.size());
        EVP_DigestFinal_ex(context, digest, nullptr);
        EVP_MD_CTX_free(context);
        benchmark::DoNotOptimize(digest);
    }
    EVP_MD_free(method);
}

void DigestMd5(benchmark::State& state) {
    const std::string text(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        benchmark::DoNotOptimize(CMD5::MDString(text.c_str()));
    }
}

void EncryptBare(benchmark::State& state) {
    const std::string plain(static_cast<size_t>(state.range(0)), 'x');
    EVP_CIPHER* method = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
    for (auto _ : state) {
        std::string cipher(plain.size() + kAesBlockLength, '\0');
        auto* out = reinterpret_cast<unsigned char*>(&cipher[0]);
        int length = 0;
        int last = 0;
        EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
        EVP_EncryptInit_ex2(context, method, kKey, kIv, nullptr);
        EVP_EncryptUpdate(context, out, &length, reinterpret_cast<const unsigned char*>(plain.data()),
                          static_cast<int>(plain.size()));
        EVP_EncryptFinal_ex(context, out + length, &last);
        EVP_CIPHER_CTX_free(context);
        benchmark::DoNotOptimize(cipher.data());
    }
    EVP_CIPHER_free(method);
}

void EncryptAes(benchmark::State& state) {
    const std::string plain(static_cast<size_t>(state.range(0)), 'x');
    std::string cipher;
    for (auto _ : state) {
        benchmark::DoNotOptimize(CAES::EncryptCbc(plain, kKey, kIv, cipher));
    }
}

BENCHMARK(DigestBare)->Name("Md5<Evp>")->Arg(kSmallest)->Arg(kUsual)->Arg(kLargest);
BENCHMARK(DigestMd5)->Name("Md5<Own>")->Arg(kSmallest)->Arg(kUsual)->Arg(kLargest);
BENCHMARK(EncryptBare)->Name("AesCbc<Evp>")->Arg(kSmallest)->Arg(kUsual)->Arg(kLargest);
BENCHMARK(EncryptAes)->Name("AesCbc<Own>")->Arg(kSmallest)->Arg(kUsual)->Arg(kLargest);

}  // namespace
