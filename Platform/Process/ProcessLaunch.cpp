#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "Process.h"
#include "ProcessReaper.h"

#if defined(__SANITIZE_THREAD__)
#define QRB_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define QRB_THREAD_SANITIZER 1
#endif
#endif

// What runs in the child shares the parent's memory: instrumentation would leave the parent's shadow memory as the
// child last saw it.
#if defined(__clang__)
#define QRB_IN_CHILD __attribute__((no_sanitize("address", "thread", "undefined")))
#else
#define QRB_IN_CHILD __attribute__((no_sanitize("address"), no_sanitize("thread"), no_sanitize("undefined")))
#endif

namespace qrb {
namespace {

using Step = LaunchFailure::Step;

struct StepFailure {
  Step step;
  int errorNumber;
};

/// All that the child needs, made ready before it exists: there it may only make system calls.
struct ChildPlan {
  const char* path;
  char* const* arguments;
  char* const* environment;
  const char* workingDirectory;
  /// What becomes 0, 1, 2 and, if there is one, 3.
  int sources[4];
  int sourceCount;
  bool newSession;
  int parentDeathSignal;
  pid_t parent;
  unsigned int descriptorLimit;
  int statusDescriptor;
};

[[noreturn]] QRB_IN_CHILD void failInChild(const ChildPlan& plan, Step step) {
  StepFailure failure{step, errno};
  // Fewer than PIPE_BUF bytes into an empty pipe: all of it or nothing.
  while (::write(plan.statusDescriptor, &failure, sizeof failure) < 0 && errno == EINTR) {
  }
  ::_exit(127);
}

/// Default handlers for what is ignored (which exec would keep) and for what is caught (a handler must not run in
/// memory that is the parent's).
QRB_IN_CHILD void resetSignals() {
  struct sigaction standard = {};
  standard.sa_handler = SIG_DFL;
  for (int signal = 1; signal < NSIG; ++signal) {
    struct sigaction current;
    if (::sigaction(signal, nullptr, &current) == 0 && current.sa_handler != SIG_DFL) {
      ::sigaction(signal, &standard, nullptr);
    }
  }
}

QRB_IN_CHILD void placeDescriptors(ChildPlan& plan) {
  // Descriptors that stand where another is to come are moved away first, since the caller may cross them over or have
  // closed some.
  for (int target = 0; target < plan.sourceCount; ++target) {
    int& source = plan.sources[target];
    int opened = -1;
    if (source < 0) {
      opened = source = ::open("/dev/null", O_RDWR | O_CLOEXEC);
      if (source < 0) {
        failInChild(plan, Step::descriptors);
      }
    }
    if (source < plan.sourceCount) {
      source = ::fcntl(source, F_DUPFD_CLOEXEC, plan.sourceCount);
      if (source < 0) {
        failInChild(plan, Step::descriptors);
      }
      if (opened >= 0) {
        ::close(opened);
      }
    }
  }
  for (int target = 0; target < plan.sourceCount; ++target) {
    int result;
    do {
      result = ::dup2(plan.sources[target], target);
    } while (result < 0 && (errno == EINTR || errno == EBUSY));
    if (result < 0) {
      failInChild(plan, Step::descriptors);
    }
  }
}

QRB_IN_CHILD void closeOthersOnExec(const ChildPlan& plan) {
  constexpr unsigned int closeOnExec = 1U << 2;  // CLOSE_RANGE_CLOEXEC, which older headers lack.
  auto first = static_cast<unsigned int>(plan.sourceCount);
  if (::syscall(SYS_close_range, first, ~0U, closeOnExec) == 0) {
    return;
  }
  // A system call filter may forbid it.
  for (unsigned int descriptor = first; descriptor < plan.descriptorLimit; ++descriptor) {
    ::fcntl(static_cast<int>(descriptor), F_SETFD, FD_CLOEXEC);
  }
}

QRB_IN_CHILD int runChild(void* context) {
  ChildPlan plan = *static_cast<ChildPlan*>(context);
  if (plan.newSession && ::setsid() < 0) {
    failInChild(plan, Step::session);
  }
  if (plan.parentDeathSignal != 0) {
    if (::prctl(PR_SET_PDEATHSIG, plan.parentDeathSignal) != 0) {
      failInChild(plan, Step::session);
    }
    if (::getppid() != plan.parent) {
      // The parent died before the request was in force, and nobody is left to report to.
      ::_exit(127);
    }
  }
  placeDescriptors(plan);
  if (plan.workingDirectory && ::chdir(plan.workingDirectory) != 0) {
    failInChild(plan, Step::workingDirectory);
  }
  closeOthersOnExec(plan);
  resetSignals();
  sigset_t none;
  ::sigemptyset(&none);
  ::sigprocmask(SIG_SETMASK, &none, nullptr);
  ::execve(plan.path, plan.arguments, plan.environment);
  failInChild(plan, Step::execute);
}

struct Child {
  pid_t pid = -1;
  FileDescriptor pidfd;
};

/// Makes the child. It shares this process's memory and suspends only the calling thread until it has executed, so the
/// cost does not grow with the size of the program, and its pidfd comes with it: no race with a program that reaps
/// every child. The thread sanitizer cannot follow two processes in one memory; under it the child is a plain fork.
QRB_IN_CHILD Child makeChild(ChildPlan& plan) {
  Child child;
#if defined(QRB_THREAD_SANITIZER)
  child.pid = ::fork();
  if (child.pid == 0) {
    runChild(&plan);
  }
  if (child.pid > 0) {
    child.pidfd.reset(static_cast<int>(::syscall(SYS_pidfd_open, child.pid, 0)));
  }
#else
  alignas(16) char stack[32 * 1024];
  int pidfd = -1;
  child.pid = ::clone(&runChild, stack + sizeof stack, CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD, &plan, &pidfd);
  if (child.pid > 0) {
    child.pidfd.reset(pidfd);
  }
#endif
  return child;
}

/// Blocks all signals for a scope: the child must not run this program's handlers.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &_previous);
  }
  ~SignalBlock() { ::pthread_sigmask(SIG_SETMASK, &_previous, nullptr); }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

 private:
  sigset_t _previous;
};

bool isExecutableFile(const std::string& path) {
  struct stat information;
  return ::stat(path.c_str(), &information) == 0 && S_ISREG(information.st_mode) && ::access(path.c_str(), X_OK) == 0;
}

std::vector<char*> pointers(const std::vector<std::string>& strings) {
  std::vector<char*> result;
  result.reserve(strings.size() + 1);
  for (const std::string& string : strings) {
    result.push_back(const_cast<char*>(string.c_str()));
  }
  result.push_back(nullptr);
  return result;
}

LaunchFailure failure(Step step, int errorNumber, const LaunchOptions& options) {
  std::string what;
  switch (step) {
    case Step::find:
      what = "No executable named \"" + options.path + "\" was found";
      break;
    case Step::prepare:
    case Step::fork:
      what = "No process could be made for \"" + options.path + "\"";
      break;
    case Step::session:
      what = "The session of \"" + options.path + "\" could not be set up";
      break;
    case Step::descriptors:
      what = "The descriptors of \"" + options.path + "\" could not be set up";
      break;
    case Step::workingDirectory:
      what = "The folder \"" + options.workingDirectory.value_or("") + "\" could not be entered";
      break;
    case Step::execute:
      what = "\"" + options.path + "\" could not be executed";
      break;
  }
  const char* reason = ::strerrordesc_np(errorNumber);
  return {step, errorNumber, what + ": " + (reason ? reason : "error " + std::to_string(errorNumber))};
}

unsigned int descriptorLimit() {
  struct rlimit limit;
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur > 65536) {
    return 65536;
  }
  return static_cast<unsigned int>(limit.rlim_cur);
}

/// What the child reported before its end; nothing when it has executed. By the time of this call a child in shared
/// memory has done one or the other, so the read need not wait: a child that another thread forked in between holds the
/// pipe's other end for as long as it likes.
std::optional<StepFailure> readStatus(const FileDescriptor& descriptor) {
#if !defined(QRB_THREAD_SANITIZER)
  descriptor.setNonBlocking(true);
#endif
  StepFailure reported{};
  ssize_t got;
  do {
    got = ::read(descriptor.get(), &reported, sizeof reported);
  } while (got < 0 && errno == EINTR);
  if (got == static_cast<ssize_t>(sizeof reported)) {
    return reported;
  }
  return std::nullopt;
}

}  // namespace

std::string executableInPath(const std::string& name) {
  const char* variable = std::getenv("PATH");
  std::string folders = variable ? variable : "/usr/local/bin:/usr/bin:/bin";
  for (std::size_t begin = 0; begin <= folders.size();) {
    std::size_t end = std::min(folders.find(':', begin), folders.size());
    if (end > begin && folders[begin] == '/') {
      std::string candidate = folders.substr(begin, end - begin) + '/' + name;
      if (isExecutableFile(candidate)) {
        return candidate;
      }
    }
    begin = end + 1;
  }
  return {};
}

std::variant<Process, LaunchFailure> Process::launch(const LaunchOptions& options) {
  // What will one day reap the child must exist before the child does: then nothing can fail later.
  if (int error = ProcessReaper::shared().prepare()) {
    return failure(Step::prepare, error, options);
  }
  std::unique_ptr<ReaperPlace> place = ProcessReaper::makePlace();
  bool bare = options.path.find('/') == std::string::npos;
  std::string path = bare ? executableInPath(options.path) : options.path;
  if (path.empty()) {
    return failure(Step::find, ENOENT, options);
  }
  DescriptorPair status = makePipe();
  int sourceCount = options.inheritedDescriptor < 0 ? 3 : 4;
  if (status && status.second.get() < sourceCount) {
    // The program runs with some of these closed; the child fills them.
    status.second.reset(::fcntl(status.second.get(), F_DUPFD_CLOEXEC, sourceCount));
  }
  if (!status) {
    return failure(Step::prepare, errno, options);
  }
  std::vector<std::string> nameAlone{options.path};
  std::vector<char*> arguments = pointers(options.arguments.empty() ? nameAlone : options.arguments);
  std::vector<char*> environment;
  if (options.environment) {
    environment = pointers(*options.environment);
  }
  ChildPlan plan{
      path.c_str(),
      arguments.data(),
      options.environment ? environment.data() : environ,
      options.workingDirectory ? options.workingDirectory->c_str() : nullptr,
      {options.stdinDescriptor, options.stdoutDescriptor, options.stderrDescriptor, options.inheritedDescriptor},
      sourceCount,
      options.newSession,
      options.parentDeathSignal,
      ::getpid(),
      descriptorLimit(),
      status.second.get()};
  Child child;
  int forkError = 0;
  {
    SignalBlock block;
    child = makeChild(plan);
    forkError = errno;
  }
  if (child.pid < 0) {
    return failure(Step::fork, forkError, options);
  }
  status.second.reset();
  std::optional<StepFailure> reported = readStatus(status.first);
  Process process(child.pid, std::move(child.pidfd), options.newSession, std::move(place));
  if (reported) {
    process.wait();
    return failure(reported->step, reported->errorNumber, options);
  }
  return process;
}

}  // namespace qrb
