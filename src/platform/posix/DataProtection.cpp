#include "platform/DataProtection.h"

#include "platform/File.h"
#include "platform/Text.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

namespace zu::platform {
namespace {

constexpr size_t kKeyBytes = 32;
constexpr size_t kNonceBytes = 12;
constexpr size_t kTagBytes = 16;

using CCipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

bool ReadKey(const std::string& path, unsigned char* pKey)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool bOk = read(fd, pKey, kKeyBytes) == static_cast<ssize_t>(kKeyBytes);
    close(fd);
    return bOk;
}

// Creates the key file with a fresh random key, readable by its owner only. O_EXCL settles a race
// between two processes: the loser reads the winner's key.
bool CreateKey(const std::string& path, unsigned char* pKey)
{
    if (RAND_bytes(pKey, kKeyBytes) != 1)
        return false;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return false;
    const bool bOk = write(fd, pKey, kKeyBytes) == static_cast<ssize_t>(kKeyBytes);
    close(fd);
    return bOk;
}

bool LoadKey(const std::u16string& keyFile, bool bCreate, unsigned char* pKey)
{
    const std::string path = Utf8FromUtf16(keyFile);
    if (ReadKey(path, pKey))
        return true;
    if (!bCreate)
        return false;
    CreateFolders(FolderOf(keyFile));
    return CreateKey(path, pKey) || ReadKey(path, pKey);
}

bool Crypt(bool bEncrypt, const unsigned char* pKey, const unsigned char* pNonce, const std::string& aad,
           const unsigned char* pIn, int nIn, unsigned char* pOut, unsigned char* pTag)
{
    CCipherContext context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    int nOut = 0;
    int nFinal = 0;
    return context &&
           EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, pKey, pNonce, bEncrypt ? 1 : 0) == 1 &&
           EVP_CipherUpdate(context.get(), nullptr, &nOut, reinterpret_cast<const unsigned char*>(aad.data()),
                            static_cast<int>(aad.size())) == 1 &&
           EVP_CipherUpdate(context.get(), pOut, &nOut, pIn, nIn) == 1 &&
           (bEncrypt || EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, kTagBytes, pTag) == 1) &&
           EVP_CipherFinal_ex(context.get(), pOut + nOut, &nFinal) == 1 &&
           (!bEncrypt || EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, kTagBytes, pTag) == 1);
}

}  // namespace

// Sealed layout: nonce, tag, ciphertext.
bool SealData(const std::string& plain, const std::u16string& seed, const std::u16string& keyFile,
              std::string& sealed)
{
    unsigned char key[kKeyBytes];
    if (!LoadKey(keyFile, true, key))
        return false;
    std::string out(kNonceBytes + kTagBytes + plain.size(), '\0');
    auto* pOut = reinterpret_cast<unsigned char*>(out.data());
    if (RAND_bytes(pOut, kNonceBytes) != 1 ||
        !Crypt(true, key, pOut, Utf8FromUtf16(seed), reinterpret_cast<const unsigned char*>(plain.data()),
               static_cast<int>(plain.size()), pOut + kNonceBytes + kTagBytes, pOut + kNonceBytes))
        return false;
    sealed = std::move(out);
    return true;
}

bool UnsealData(const std::string& sealed, const std::u16string& seed, const std::u16string& keyFile,
                std::string& plain)
{
    unsigned char key[kKeyBytes];
    if (sealed.size() < kNonceBytes + kTagBytes || !LoadKey(keyFile, false, key))
        return false;
    std::string in = sealed;
    auto* pIn = reinterpret_cast<unsigned char*>(in.data());
    const size_t nText = in.size() - kNonceBytes - kTagBytes;
    std::string out(nText, '\0');
    if (!Crypt(false, key, pIn, Utf8FromUtf16(seed), pIn + kNonceBytes + kTagBytes, static_cast<int>(nText),
               reinterpret_cast<unsigned char*>(out.data()), pIn + kNonceBytes))
        return false;
    plain = std::move(out);
    return true;
}

}  // namespace zu::platform
