// The three MD5 calls are deprecated in OpenSSL 3 and are here on purpose: the hash names files, it protects nothing.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <cstring>

#include <openssl/md5.h>

#include "CoreUtility/Text.h"
#include "ZKHAL/Utilities.h"

void ZKStringHashMD5(const char* a, const char* b, char* output)
{
    if (output == nullptr) {
        return;
    }
    MD5_CTX context;
    MD5_Init(&context);
    for (const char* text : {ZKHAL::orEmpty(a), ZKHAL::orEmpty(b)}) {
        MD5_Update(&context, text, std::strlen(text));
    }
    unsigned char digest[MD5_DIGEST_LENGTH];
    MD5_Final(digest, &context);
    ZKHexStringFromBytes(digest, sizeof digest, output);
}
