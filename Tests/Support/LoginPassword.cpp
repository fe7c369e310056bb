// Loaded into a real SSH server: every user has the password whose hash the environment tells, so that a test can log
// in with one without knowing anybody's.
#include <shadow.h>

#include <cstdlib>

extern "C" __attribute__((visibility("default"))) spwd* getspnam(const char* name) {
  static spwd entry{};
  entry = {const_cast<char*>(name), std::getenv("QRB_LOGIN_PASSWORD"), -1, -1, -1, -1, -1, -1, 0};
  return entry.sp_pwdp == nullptr ? nullptr : &entry;
}
