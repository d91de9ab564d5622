#include "tarnwillow/platform/httpLibrary.h"

#include <dlfcn.h>
#include <openssl/opensslv.h>

#include <cstdio>
#include <cstring>

#include "tarnwillow/platform/http.h"

namespace tarnwillow::platform {

namespace {

constexpr char kName[] = "libcurl.so.4";
constexpr unsigned kOldestVersion = 0x075700;  // 7.87

#define TARNWILLOW_TEXT_OF(number) #number
#define TARNWILLOW_TEXT(number) TARNWILLOW_TEXT_OF(number)
constexpr char kSecurity[] = "OpenSSL/" TARNWILLOW_TEXT(OPENSSL_VERSION_MAJOR) ".";

class Loader {
public:
    Loader() { loaded_ = load(); }

    bool loaded() const { return loaded_; }
    const HttpLibrary& library() const { return library_; }
    char const* failure() const { return failure_; }

private:
    // It is never unloaded: a name that is being looked up goes on being so on a thread of its own
    // when the request is given up.
    bool load() {
        void* const module = dlopen(kName, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (module == nullptr) return fail(dlerror());
        return find_all(module) && is_usable() && start();
    }

    bool find_all(void* module) {
        bool found = true;
        const auto find = [&](auto& procedure, char const* name) {
            procedure =
                reinterpret_cast<std::remove_reference_t<decltype(procedure)>>(dlsym(module, name));
            if (procedure == nullptr) found = fail("%s has no %s", kName, name);
        };
#define TARNWILLOW_FIND(name) find(library_.name, #name);
        TARNWILLOW_HTTP_PROCEDURES(TARNWILLOW_FIND)
#undef TARNWILLOW_FIND
        return found;
    }

    // The terms of a secure connection are set in an object that it shares with this library: both
    // have to mean the same security library.
    bool is_usable() {
        const curl_version_info_data& about = *library_.curl_version_info(CURLVERSION_NOW);
        if (about.version_num < kOldestVersion)
            return fail("%s has version %s, 7.87 is needed", kName, about.version);
        char const* const security = about.ssl_version != nullptr ? about.ssl_version : "none";
        if (std::strncmp(security, kSecurity, sizeof kSecurity - 1) == 0) return true;
        return fail("%s is made for %s, %sx is needed", kName, security, kSecurity);
    }

    bool start() {
        return library_.curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK ||
               fail("%s does not start", kName);
    }

    template <class... Values>
    bool fail(char const* format, Values... values) {
        std::snprintf(failure_, sizeof failure_, format, values...);
        return false;
    }
    bool fail(char const* words) { return fail("%s", words); }

    HttpLibrary library_{};
    bool loaded_ = false;
    char failure_[256] = "";
};

const Loader& loader() {
    static const Loader the_loader;
    return the_loader;
}

}  // namespace

bool load_http_library() { return loader().loaded(); }

const HttpLibrary& http_library() { return loader().library(); }

char const* http_library_failure() { return loader().failure(); }

}  // namespace tarnwillow::platform
