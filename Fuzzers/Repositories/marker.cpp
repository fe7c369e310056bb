// What a hostile repository wants to have run, without need of a shell or of any library: it finds out the folder of
// its case from where it lies, and leaves a mark in the folder for marks beside all cases.
#include <fcntl.h>
#include <unistd.h>

#include <cstring>

int main() {
  // <run>/<worker>/case-<number>/… has its mark in <run>/marks/case-<number>.
  char path[8192];
  ssize_t length = ::readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return 1;
  path[length] = '\0';
  char* name = std::strstr(path, "/case-");
  if (name == nullptr) return 1;
  if (char* end = std::strchr(name + 1, '/')) *end = '\0';
  char caseName[64];
  std::strncpy(caseName, name, sizeof caseName - 1);
  caseName[sizeof caseName - 1] = '\0';
  *name = '\0';
  char* worker = std::strrchr(path, '/');
  if (worker == nullptr) return 1;
  std::strcpy(worker, "/marks");
  std::strcat(path, caseName);
  int mark = ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  return mark < 0 || ::write(mark, "program\n", 8) != 8;
}
