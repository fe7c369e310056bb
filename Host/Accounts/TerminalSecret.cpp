#include "TerminalSecret.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "FileDescriptor.h"
#include "HostError.h"
#include "Secrecy.h"

namespace host {

namespace {

// Longer than any password, shorter than a file given by mistake.
constexpr std::size_t kLongestSecret = 64 << 10;

qrb::FileDescriptor openTerminal() {
  return qrb::FileDescriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
}

// A terminal that shows nothing of what is typed, and whose user cannot leave it in that state by suspending us.
class SilentTerminal {
 public:
  explicit SilentTerminal(int terminal) : _terminal(terminal) {
    _changed = ::tcgetattr(terminal, &_before) == 0;
    termios silent = _before;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHOE | ECHOK | ECHONL);
    silent.c_lflag |= ICANON | ISIG;
    silent.c_cc[VSUSP] = _POSIX_VDISABLE;
    _changed = _changed && ::tcsetattr(terminal, TCSAFLUSH, &silent) == 0;
  }
  ~SilentTerminal() {
    if (_changed) ::tcsetattr(_terminal, TCSAFLUSH, &_before);
  }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;
  bool isSilent() const { return _changed; }

 private:
  int _terminal;
  termios _before{};
  bool _changed = false;
};

qrb::FileDescriptor stoppingSignals() {
  sigset_t stopping;
  ::sigemptyset(&stopping);
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) ::sigaddset(&stopping, signal);
  return qrb::FileDescriptor(::signalfd(-1, &stopping, SFD_CLOEXEC | SFD_NONBLOCK));
}

bool say(int terminal, std::string_view text) {
  return ::write(terminal, text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

// No error when there is something to read, or its end. A signal stays pending, for who ends the program by it.
qrb::Error awaitInput(int input, int signals) {
  pollfd sources[] = {{input, POLLIN, 0}, {signals, POLLIN, 0}};
  while (true) {
    if (::poll(sources, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return hostError("The answer cannot be waited for.", {}, errno);
    }
    if ((sources[1].revents & POLLIN) != 0) return QRBSourceControlError_Canceled();
    if (sources[0].revents != 0) return {};
  }
}

// One line, or why there is none. The terminal gives whole lines.
qrb::Error readTerminalLine(int terminal, std::string& line) {
  qrb::FileDescriptor signals = stoppingSignals();
  while (true) {
    if (qrb::Error error = awaitInput(terminal, signals.get())) return error;
    char bytes[4096];
    ssize_t count = ::read(terminal, bytes, sizeof bytes);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    // The end of input on an empty line is the wish to stop.
    if (count <= 0) return QRBSourceControlError_Canceled();
    line.append(bytes, static_cast<std::size_t>(count));
    ::explicit_bzero(bytes, sizeof bytes);
    if (line.ends_with('\n')) return {};
  }
}

}  // namespace

bool canAskForSecret() {
  return openTerminal().valid();
}

bool canAskUser() {
  return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDERR_FILENO) != 0 && canAskForSecret();
}

qrb::Error askForSecret(const std::string& prompt, std::string& secret) {
  qrb::FileDescriptor terminal = openTerminal();
  if (!terminal.valid()) {
    return hostError("There is no terminal to ask for the password on.",
                     "Give it on standard input, with --password-stdin.", errno);
  }
  qrb::forbidCoreFiles();
  std::string line;
  qrb::WipeAtEnd wiping(line);
  // A text that grows leaves what it held behind.
  line.reserve(kLongestSecret);
  qrb::Error error;
  {
    SilentTerminal silent(terminal.get());
    if (!silent.isSilent()) return hostError("The terminal would show the password.", {}, errno);
    if (!say(terminal.get(), prompt)) return hostError("The terminal cannot be written to.", {}, errno);
    error = readTerminalLine(terminal.get(), line);
  }
  say(terminal.get(), "\n");
  if (error) return error;
  line.pop_back();
  secret = std::move(line);
  return {};
}

qrb::Result<std::string> askForLine(const std::string& prompt) {
  qrb::FileDescriptor terminal = openTerminal();
  if (!terminal.valid()) return hostError("There is no terminal to ask on.", {}, errno);
  // What was typed before the question is no answer to it.
  ::tcflush(terminal.get(), TCIFLUSH);
  if (!say(terminal.get(), prompt)) return hostError("The terminal cannot be written to.", {}, errno);
  std::string typed;
  if (qrb::Error error = readTerminalLine(terminal.get(), typed)) {
    say(terminal.get(), "\n");
    return error;
  }
  std::size_t first = typed.find_first_not_of(" \t\r\n");
  return first == std::string::npos ? "" : typed.substr(first, typed.find_last_not_of(" \t\r\n") - first + 1);
}

qrb::Error readSecretFromInput(std::string& secret) {
  if (::isatty(STDIN_FILENO) != 0) {
    return hostError("Standard input is a terminal, which would show the password.",
                     "Leave out --password-stdin to be asked for it.");
  }
  qrb::forbidCoreFiles();
  std::string line;
  qrb::WipeAtEnd wiping(line);
  line.reserve(kLongestSecret + 1);
  // Byte by byte, so that what follows the line is left to whoever reads after us.
  qrb::FileDescriptor signals = stoppingSignals();
  for (char byte = 0; line.size() <= kLongestSecret;) {
    if (qrb::Error error = awaitInput(STDIN_FILENO, signals.get())) return error;
    ssize_t count = ::read(STDIN_FILENO, &byte, 1);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return hostError("Standard input cannot be read.", {}, errno);
    if (count == 0 || byte == '\n') break;
    line += byte;
  }
  if (line.size() > kLongestSecret) return hostError("Standard input holds no password: the line is too long.");
  if (line.ends_with('\r')) line.pop_back();
  if (line.empty()) return hostError("Standard input holds no password.");
  if (line.find('\0') != std::string::npos) return hostError("Standard input holds no password, but other bytes.");
  secret = std::move(line);
  return {};
}

}  // namespace host
