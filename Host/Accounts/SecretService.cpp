// The library is loaded when it is first wanted: it brings many others with it, which would make every start slower,
// and a system without it can still use all the rest.
#include <dlfcn.h>
#include <libsecret/secret.h>
#include <sys/stat.h>

#include <cstdlib>

#include "HostError.h"
#include "Secrecy.h"
#include "SecretStore.h"

namespace host {

namespace {

struct Library {
  decltype(&::secret_service_get_sync) serviceGet = nullptr;
  decltype(&::secret_password_lookupv_sync) lookup = nullptr;
  decltype(&::secret_password_storev_sync) store = nullptr;
  decltype(&::secret_password_clearv_sync) clear = nullptr;
  decltype(&::secret_password_free) freePassword = nullptr;
  decltype(&::g_hash_table_new) tableNew = nullptr;
  decltype(&::g_hash_table_insert) tableInsert = nullptr;
  decltype(&::g_hash_table_unref) tableUnref = nullptr;
  decltype(&::g_str_hash) strHash = nullptr;
  decltype(&::g_str_equal) strEqual = nullptr;
  decltype(&::g_error_free) errorFree = nullptr;
  decltype(&::g_object_unref) objectUnref = nullptr;

  template <class Function>
  static bool find(void* handle, const char* name, Function& function) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
    return function != nullptr;
  }

  // Kept for the life of the process, as its types are registered for that long.
  bool load() {
    void* handle = ::dlopen("libsecret-1.so.0", RTLD_NOW | RTLD_LOCAL);
    return handle != nullptr && find(handle, "secret_service_get_sync", serviceGet) &&
           find(handle, "secret_password_lookupv_sync", lookup) && find(handle, "secret_password_storev_sync", store) &&
           find(handle, "secret_password_clearv_sync", clear) && find(handle, "secret_password_free", freePassword) &&
           find(handle, "g_hash_table_new", tableNew) && find(handle, "g_hash_table_insert", tableInsert) &&
           find(handle, "g_hash_table_unref", tableUnref) && find(handle, "g_str_hash", strHash) &&
           find(handle, "g_str_equal", strEqual) && find(handle, "g_error_free", errorFree) &&
           find(handle, "g_object_unref", objectUnref);
  }
};

constexpr const char* kPlace = "server";
constexpr const char* kUser = "user";

const SecretSchema& schema() {
  static const SecretSchema schema = [] {
    SecretSchema made{};
    made.name = "org.qrb.qrbscm.Account";
    made.flags = SECRET_SCHEMA_NONE;
    made.attributes[0] = {kPlace, SECRET_SCHEMA_ATTRIBUTE_STRING};
    made.attributes[1] = {kUser, SECRET_SCHEMA_ATTRIBUTE_STRING};
    return made;
  }();
  return schema;
}

class SecretService final : public SecretStore {
 public:
  explicit SecretService(const Library& library) : _library(library) {}

  qrb::Result<std::optional<std::string>> find(const SecretKey& key) override {
    Attributes attributes(_library, key);
    qrb::forbidCoreFiles();
    GError* failure = nullptr;
    char* found = _library.lookup(&schema(), attributes.table, nullptr, &failure);
    if (qrb::Error error = taken(failure, "could not be asked")) return error;
    if (found == nullptr) return std::optional<std::string>();
    std::string secret = found;
    _library.freePassword(found);
    return std::optional(std::move(secret));
  }
  qrb::Error store(const SecretKey& key, const std::string& label, const std::string& secret) override {
    Attributes attributes(_library, key);
    GError* failure = nullptr;
    bool stored = _library.store(&schema(), attributes.table, SECRET_COLLECTION_DEFAULT, label.c_str(), secret.c_str(),
                                 nullptr, &failure) != 0;
    qrb::Error error = taken(failure, "could not keep the password");
    return stored || error ? error : hostError("The secret service did not keep the password.");
  }
  qrb::Error remove(const SecretKey& key) override {
    Attributes attributes(_library, key);
    GError* failure = nullptr;
    _library.clear(&schema(), attributes.table, nullptr, &failure);
    return taken(failure, "could not remove the password");
  }

 private:
  struct Attributes {
    Attributes(const Library& from, const SecretKey& key)
        : library(from), table(from.tableNew(from.strHash, from.strEqual)) {
      // The table keeps pointers only; the key outlives it.
      library.tableInsert(table, const_cast<char*>(kPlace), const_cast<char*>(key.place.c_str()));
      library.tableInsert(table, const_cast<char*>(kUser), const_cast<char*>(key.user.c_str()));
    }
    ~Attributes() { library.tableUnref(table); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;

    const Library& library;
    GHashTable* table;
  };

  qrb::Error taken(GError* failure, const char* what) const {
    if (failure == nullptr) return {};
    std::string text = std::string("The secret service ") + what + ": " + failure->message + ".";
    _library.errorFree(failure);
    return hostError(text);
  }

  Library _library;
};

// Without a session, the library would try to start a bus of its own.
bool hasSessionBus() {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (address != nullptr && address[0] != '\0') return true;
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  struct stat status {};
  return folder != nullptr && ::stat((std::string(folder) + "/bus").c_str(), &status) == 0 && S_ISSOCK(status.st_mode);
}

}  // namespace

std::shared_ptr<SecretStore> sessionSecretStore() {
  Library library;
  if (!hasSessionBus() || !library.load()) return nullptr;
  // Connecting shows whether somebody offers the service.
  GError* failure = nullptr;
  ::SecretService* service = library.serviceGet(SECRET_SERVICE_OPEN_SESSION, nullptr, &failure);
  if (failure != nullptr) library.errorFree(failure);
  if (service == nullptr) return nullptr;
  library.objectUnref(service);
  return std::make_shared<SecretService>(library);
}

}  // namespace host
