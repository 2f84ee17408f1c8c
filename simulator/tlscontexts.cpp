#include "tlscontexts.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <stdexcept>

namespace simulator {

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Certificate = std::unique_ptr<X509, decltype(&X509_free)>;

/// No device has it.
const std::string otherName = "elsewhere.example";

void require(bool condition)
{
    if (!condition) {
        throw std::runtime_error("OpenSSL can't make the devices' certificate");
    }
}

Key newKey(TlsMode mode)
{
    const char *curve = "P-256";
    switch (mode) {
    case TlsMode::Modern:
    case TlsMode::Expired:
    case TlsMode::OtherName:
        return {EVP_EC_gen(curve), EVP_PKEY_free};
    case TlsMode::Rsa1024:
        return {EVP_RSA_gen(1024), EVP_PKEY_free};
    case TlsMode::Rsa512:
        return {EVP_RSA_gen(512), EVP_PKEY_free};
    case TlsMode::Tls10Only:
    case TlsMode::Tls11Only:
        break;
    }
    return {EVP_RSA_gen(2048), EVP_PKEY_free};
}

Certificate selfSigned(EVP_PKEY *key, TlsMode mode)
{
    Certificate certificate(X509_new(), X509_free);
    require(certificate != nullptr);
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    constexpr long day = 86400;
    const bool isExpired = mode == TlsMode::Expired;
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), isExpired ? -3650 * day : -day);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), isExpired ? -day : 3650 * day);
    X509_set_pubkey(certificate.get(), key);
    X509_NAME *name = X509_get_subject_name(certificate.get());
    const std::string commonName = mode == TlsMode::OtherName ? otherName : "Nembra device";
    const auto *bytes = reinterpret_cast<const unsigned char *>(commonName.data());
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8, bytes, static_cast<int>(commonName.size()), -1, 0);
    X509_set_issuer_name(certificate.get(), name);
    if (mode == TlsMode::OtherName) {
        const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> names(
            X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, ("DNS:" + otherName).c_str()),
            X509_EXTENSION_free);
        require(names && X509_add_ext(certificate.get(), names.get(), -1) == 1);
    }
    require(X509_sign(certificate.get(), key, EVP_sha256()) > 0);
    return certificate;
}

/// Old versions and small keys are below what the library allows by default.
void allowWeakness(SSL_CTX *context, TlsMode mode)
{
    require(SSL_CTX_set_cipher_list(context, "ALL:@SECLEVEL=0") == 1);
    int oldest = TLS1_VERSION;
    int newest = TLS1_2_VERSION;
    if (mode == TlsMode::Tls10Only) {
        newest = TLS1_VERSION;
    }
    if (mode == TlsMode::Tls11Only) {
        oldest = newest = TLS1_1_VERSION;
    }
    require(SSL_CTX_set_min_proto_version(context, oldest) == 1);
    require(SSL_CTX_set_max_proto_version(context, newest) == 1);
}

} // namespace

boost::asio::ssl::context &TlsContexts::forMode(TlsMode mode)
{
    std::unique_ptr<boost::asio::ssl::context> &context = m_contexts[mode];
    if (context) {
        return *context;
    }
    auto made = std::make_unique<boost::asio::ssl::context>(boost::asio::ssl::context::tls_server);
    SSL_CTX *handle = made->native_handle();
    if (mode != TlsMode::Modern && mode != TlsMode::Expired && mode != TlsMode::OtherName) {
        allowWeakness(handle, mode);
    }
    const Key key = newKey(mode);
    require(key != nullptr);
    const Certificate certificate = selfSigned(key.get(), mode);
    require(SSL_CTX_use_certificate(handle, certificate.get()) == 1);
    require(SSL_CTX_use_PrivateKey(handle, key.get()) == 1);
    context = std::move(made);
    return *context;
}

} // namespace simulator
