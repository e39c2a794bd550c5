// A certificate authority and signing keys of a test's own, made anew for each run.
#pragma once

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <QList>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslKey>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/Base64.h"

namespace larkfold::test {

struct FreeOfLibrary {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(BIO* buffer) const { BIO_free(buffer); }
};
template <typename Type>
using Owned = std::unique_ptr<Type, FreeOfLibrary>;

inline void mustBe(bool condition) {
    if (!condition) {
        throw std::runtime_error("The test's certificates could not be made.");
    }
}

// Signs as the makers of a feed do.
class SigningKey {
public:
    SigningKey() : key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519")) { mustBe(key_ != nullptr); }

    // The public key in Base64, as a build is given it.
    std::string publicKey() const {
        std::string bytes(32, '\0');
        std::size_t size = bytes.size();
        mustBe(EVP_PKEY_get_raw_public_key(key_.get(), reinterpret_cast<unsigned char*>(bytes.data()),
                                           &size) == 1);
        return base64Encoded(bytes);
    }

    // The content of the file beside a feed.
    std::string signatureOf(std::string_view bytes) const {
        const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
        mustBe(EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key_.get()) == 1);
        std::string signature(64, '\0');
        std::size_t size = signature.size();
        mustBe(EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                              reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()) == 1);
        return base64Encoded(signature) + "\n";
    }

private:
    Owned<EVP_PKEY> key_;
};

// What a server proves itself with.
struct ServerIdentity {
    QSslCertificate certificate;
    QSslKey key;
};

class CertificateAuthority {
public:
    CertificateAuthority() : key_(EVP_EC_gen("P-256")) {
        mustBe(key_ != nullptr);
        certificate_ = make(*key_, "Larkfold tests", {}, "critical,CA:TRUE", std::chrono::hours(24));
        mustBe(X509_sign(certificate_.get(), key_.get(), EVP_sha256()) > 0);
    }

    QList<QSslCertificate> certificates() const { return {certificateOf(*certificate_)}; }

    // For a server of that name: "DNS:localhost" or "IP:127.0.0.1". A negative lifetime: one that has ended.
    ServerIdentity identityFor(const std::string& name,
                               std::chrono::seconds lifetime = std::chrono::hours(24)) const {
        const Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
        mustBe(key != nullptr);
        const auto certificate = make(*key, "server", name, "critical,CA:FALSE", lifetime);
        mustBe(X509_set_issuer_name(certificate.get(), X509_get_subject_name(certificate_.get())) == 1);
        mustBe(X509_sign(certificate.get(), key_.get(), EVP_sha256()) > 0);
        const Owned<BIO> buffer(BIO_new(BIO_s_mem()));
        mustBe(PEM_write_bio_PrivateKey(buffer.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
        return {certificateOf(*certificate), QSslKey(contentOf(*buffer), QSsl::Ec)};
    }

private:
    static void add(X509& certificate, int kind, const std::string& value) {
        X509V3_CTX context;
        X509V3_set_ctx_nodb(&context);
        X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
        const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
        mustBe(extension && X509_add_ext(&certificate, extension.get(), -1) == 1);
    }

    static Owned<X509> make(EVP_PKEY& key, const std::string& subject, const std::string& name,
                            const std::string& constraints, std::chrono::seconds lifetime) {
        static long serial = 1;
        Owned<X509> certificate(X509_new());
        mustBe(certificate && X509_set_version(certificate.get(), X509_VERSION_3) == 1);
        ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), serial++);
        X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -2L * 24 * 60 * 60);
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), static_cast<long>(lifetime.count()));
        mustBe(X509_set_pubkey(certificate.get(), &key) == 1);
        X509_NAME* entry = X509_get_subject_name(certificate.get());
        mustBe(X509_NAME_add_entry_by_txt(entry, "CN", MBSTRING_UTF8,
                                          reinterpret_cast<const unsigned char*>(subject.c_str()), -1, -1,
                                          0) == 1);
        mustBe(X509_set_issuer_name(certificate.get(), entry) == 1);
        add(*certificate, NID_basic_constraints, constraints);
        if (!name.empty()) {
            add(*certificate, NID_subject_alt_name, name);
        }
        return certificate;
    }

    static QByteArray contentOf(BIO& buffer) {
        char* bytes = nullptr;
        const long size = BIO_get_mem_data(&buffer, &bytes);
        return {bytes, size};
    }

    static QSslCertificate certificateOf(X509& certificate) {
        const Owned<BIO> buffer(BIO_new(BIO_s_mem()));
        mustBe(PEM_write_bio_X509(buffer.get(), &certificate) == 1);
        return QSslCertificate(contentOf(*buffer));
    }

    Owned<EVP_PKEY> key_;
    Owned<X509> certificate_;
};

}  // namespace larkfold::test
