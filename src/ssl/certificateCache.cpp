#include "certificateCache.h"

#include <openssl/provider.h>
#include <sys/stat.h>

#include <map>
#include <mutex>
#include <utility>

#include "processState.h"

namespace {

// What tells a changed file from the one parsed.
struct FileIdentity {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};
  bool operator==(const FileIdentity& o) const {
    return device == o.device && inode == o.inode && size == o.size && modified.tv_sec == o.modified.tv_sec &&
           modified.tv_nsec == o.modified.tv_nsec;
  }
};

struct Entry {
  FileIdentity identity;
  std::shared_ptr<const ParsedCertificate> parsed;
};

// Held while a file is parsed: threads that start at once wait for the
// one parse rather than each making their own.
std::mutex gCacheMutex;
ZV_PROCESS_STATE std::map<std::pair<std::string, std::string>, Entry> gParsed;

std::mutex gLegacyMutex;
OSSL_LIB_CTX* gLegacyContext = nullptr;
OSSL_PROVIDER* gLegacyProviders[2] = {nullptr, nullptr};

bool identify(const std::string& path, FileIdentity* identity) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return false;
  identity->device = info.st_dev;
  identity->inode = info.st_ino;
  identity->size = info.st_size;
  identity->modified = info.st_mtim;
  return true;
}

}  // namespace

ParsedCertificate::~ParsedCertificate() {
  X509_free(cert);
  EVP_PKEY_free(key);
  sk_X509_pop_free(chain, X509_free);
}

std::shared_ptr<const ParsedCertificate> sharedCertificate(const std::string& path, const std::string& password,
                                                           const CertificateReader& read) {
  std::lock_guard<std::mutex> guard(gCacheMutex);
  FileIdentity identity;
  bool known = identify(path, &identity);
  auto key = std::make_pair(path, password);
  auto found = gParsed.find(key);
  if (known && found != gParsed.end() && found->second.identity == identity) return found->second.parsed;
  gParsed.erase(key);
  BIO* file = BIO_new_file(path.c_str(), "r");
  if (file == nullptr) return nullptr;
  auto parsed = std::make_shared<ParsedCertificate>();
  read(file, parsed.get());
  BIO_free(file);
  if (parsed->cert == nullptr || parsed->key == nullptr) return nullptr;
  // A file whose identity could not be read is parsed but not kept.
  if (known) gParsed[key] = Entry{identity, parsed};
  return parsed;
}

OSSL_LIB_CTX* legacyReadingContext() {
  std::lock_guard<std::mutex> guard(gLegacyMutex);
  if (gLegacyContext == nullptr) {
    gLegacyContext = OSSL_LIB_CTX_new();
    if (gLegacyContext != nullptr) {
      gLegacyProviders[0] = OSSL_PROVIDER_load(gLegacyContext, "default");
      // Without the module (a trimmed OpenSSL install) the modern formats
      // still load.
      gLegacyProviders[1] = OSSL_PROVIDER_load(gLegacyContext, "legacy");
    }
  }
  return gLegacyContext;
}

void forgetParsedCertificates() {
  {
    std::lock_guard<std::mutex> guard(gCacheMutex);
    gParsed.clear();
  }
  std::lock_guard<std::mutex> guard(gLegacyMutex);
  for (OSSL_PROVIDER*& provider : gLegacyProviders) {
    if (provider != nullptr) OSSL_PROVIDER_unload(provider);
    provider = nullptr;
  }
  OSSL_LIB_CTX_free(gLegacyContext);
  gLegacyContext = nullptr;
}
