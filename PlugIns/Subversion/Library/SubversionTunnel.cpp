#include "SubversionTunnel.h"

#include <poll.h>
#include <signal.h>
#include <svn_io.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "AskpassChannel.h"
#include "CredentialAnswers.h"
#include "Process.h"
#include "SSHCommand.h"
#include "SubversionClientPrivate.h"
#include "ToolRunner.h"

namespace {

constexpr std::size_t longestComplaint = 64 * 1024;

/// A running ssh. While the library waits for it, it is given the answers that it asks for.
class Tunnel {
 public:
  Tunnel(SubversionClient::Private& client, svn_cancel_func_t cancel, void* cancelBaton)
      : _client(client),
        _cancel(cancel),
        _cancelBaton(cancelBaton),
        _answers(client.authentication.access()),
        _channel([this](const qrb::AskpassQuestion& question) { return _answers.answer(question); }) {}
  Tunnel(const Tunnel&) = delete;
  Tunnel& operator=(const Tunnel&) = delete;
  ~Tunnel() { close(); }

  svn_error_t* start(const char* user, const char* hostname, int port);
  svn_error_t* read(char* buffer, apr_size_t* length, bool isFull);
  svn_error_t* write(const char* data, apr_size_t* length);
  svn_error_t* hasData(svn_boolean_t* result) const;
  /// ssh ends when nobody talks to it any more.
  void close();

 private:
  /// Until the descriptor is ready, ssh has ended, or the host is gone.
  svn_error_t* await(int descriptor, short events);
  void readComplaint();
  svn_error_t* failure();

  SubversionClient::Private& _client;
  const svn_cancel_func_t _cancel;
  void* const _cancelBaton;
  qrb::CredentialAnswers _answers;
  qrb::AskpassChannel _channel;
  qrb::DescriptorPair _input;
  qrb::DescriptorPair _output;
  qrb::DescriptorPair _errors;
  qrb::Process _process;
  qrb::BoundedText _complaint{longestComplaint};
  bool _hasAnswered = false;
};

svn_error_t* Tunnel::start(const char* user, const char* hostname, int port) {
  const qrb::RemoteAccess& access = _client.authentication.access();
  std::string host(subversionView(hostname));
  // The library opens addresses that a server or a property names as well.
  bool isOurs = host == access.address.host || "[" + host + "]" == access.address.host;
  if (!isOurs || host.empty() || host.starts_with('-') || host.find_first_of("/@ \t") != std::string::npos) {
    return svn_error_createf(SVN_ERR_BAD_URL, nullptr,
                             "“%s” is not the server that this request is for, so it is not connected to.",
                             host.c_str());
  }
  _input = qrb::makePipe();
  _output = qrb::makePipe();
  _errors = qrb::makePipe();
  if (!_channel.isOpen() || !_input || !_output || !_errors) {
    return svn_error_create(SVN_ERR_RA_CANNOT_CREATE_TUNNEL, nullptr, "The system has no pipe or socket left for ssh.");
  }
  qrb::LaunchOptions options;
  options.path = "ssh";
  options.arguments = {"ssh"};
  for (std::string& argument : qrb::sshArguments(access, qrb::askpassProgram())) {
    options.arguments.push_back(std::move(argument));
  }
  if (access.user.empty() && user != nullptr) options.arguments.insert(options.arguments.end(), {"-l", user});
  if (port > 0) options.arguments.insert(options.arguments.end(), {"-p", std::to_string(port)});
  options.arguments.insert(options.arguments.end(), {"-o", "SendEnv=-*", "--", host, "svnserve -t"});
  std::vector<std::string> environment;
  for (char** each = environ; *each != nullptr; ++each) environment.emplace_back(*each);
  for (const auto& variable : _channel.environment()) {
    std::erase_if(environment, [&](const std::string& each) { return each.starts_with(variable.first + "="); });
    environment.push_back(variable.first + "=" + variable.second);
  }
  options.environment = std::move(environment);
  options.stdinDescriptor = _input.first.get();
  options.stdoutDescriptor = _output.second.get();
  options.stderrDescriptor = _errors.second.get();
  options.parentDeathSignal = SIGTERM;
  auto launched = qrb::Process::launch(options);
  if (const auto* const problem = std::get_if<qrb::LaunchFailure>(&launched)) {
    return svn_error_create(SVN_ERR_RA_CANNOT_CREATE_TUNNEL, nullptr, problem->text.c_str());
  }
  _process = std::move(std::get<qrb::Process>(launched));
  _input.first.reset();
  _output.second.reset();
  _errors.second.reset();
  bool isReady =
      _input.second.setNonBlocking(true) && _output.first.setNonBlocking(true) && _errors.first.setNonBlocking(true);
  return isReady ? SVN_NO_ERROR : svn_error_wrap_apr(errno, "Preparing to talk to ssh failed");
}

svn_error_t* Tunnel::await(int descriptor, short events) {
  while (true) {
    if (svn_error_t* error = _cancel != nullptr ? _cancel(_cancelBaton) : nullptr) return error;
    std::array<pollfd, 4> waiting{{{descriptor, events, 0},
                                   {_channel.descriptor(), POLLIN, 0},
                                   {_errors.first.get(), POLLIN, 0},
                                   {_client.hostConnection, POLLRDHUP, 0}}};
    if (::poll(waiting.data(), waiting.size(), -1) < 0) {
      if (errno == EINTR) continue;
      return svn_error_wrap_apr(errno, "Waiting for ssh failed");
    }
    if ((waiting[1].revents & POLLIN) != 0) _channel.serve();
    if (waiting[2].revents != 0) readComplaint();
    if ((waiting[3].revents & (POLLHUP | POLLRDHUP | POLLERR)) != 0) {
      return svn_error_create(SVN_ERR_CANCELLED, nullptr, "The host is gone.");
    }
    if (waiting[0].revents != 0) return SVN_NO_ERROR;
  }
}

void Tunnel::readComplaint() {
  std::array<char, 4096> buffer;
  ssize_t count = ::read(_errors.first.get(), buffer.data(), buffer.size());
  if (count > 0) {
    _complaint.append({buffer.data(), static_cast<std::size_t>(count)});
  } else if (count == 0 || (errno != EAGAIN && errno != EINTR)) {
    _errors.first.reset();
  }
}

/// What ssh said when it ended, as the library tells such failures.
svn_error_t* Tunnel::failure() {
  while (_errors.first.valid()) {
    pollfd errors{_errors.first.get(), POLLIN, 0};
    if (::poll(&errors, 1, 1000) <= 0) break;
    readComplaint();
  }
  std::string said = _complaint.text();
  SubversionServerAsked& asked = _client.authentication.asked();
  asked.gaveSecret |= _answers.gaveSecret();
  if (!_answers.hostFingerprint().empty()) asked.fingerprint = _answers.hostFingerprint();
  bool isKeyRefused = said.find("Host key verification failed") != std::string::npos;
  if (isKeyRefused && asked.certificateFault.empty()) asked.certificateFault = said;
  bool isLoginRefused = said.find("Permission denied") != std::string::npos;
  int code = isKeyRefused     ? SVN_ERR_RA_SERF_SSL_CERT_UNTRUSTED
             : isLoginRefused ? SVN_ERR_AUTHN_FAILED
                              : SVN_ERR_RA_CANNOT_CREATE_TUNNEL;
  if (said.empty()) said = "The connection through ssh has ended.";
  return svn_error_create(code, nullptr, said.c_str());
}

svn_error_t* Tunnel::read(char* buffer, apr_size_t* length, bool isFull) {
  apr_size_t wanted = *length;
  *length = 0;
  while (*length < wanted) {
    ssize_t count = ::read(_output.first.get(), buffer + *length, wanted - *length);
    if (count > 0) {
      _hasAnswered = true;
      *length += static_cast<apr_size_t>(count);
      if (!isFull) break;
    } else if (count == 0) {
      if (!_hasAnswered) return failure();
      break;
    } else if (errno == EAGAIN) {
      if (svn_error_t* error = await(_output.first.get(), POLLIN)) return error;
    } else if (errno != EINTR) {
      return svn_error_wrap_apr(errno, "Reading from ssh failed");
    }
  }
  return SVN_NO_ERROR;
}

svn_error_t* Tunnel::write(const char* data, apr_size_t* length) {
  apr_size_t written = 0;
  while (written < *length) {
    ssize_t count = ::write(_input.second.get(), data + written, *length - written);
    if (count >= 0) {
      written += static_cast<apr_size_t>(count);
    } else if (errno == EAGAIN) {
      if (svn_error_t* error = await(_input.second.get(), POLLOUT)) return error;
    } else if (errno == EPIPE) {
      return failure();
    } else if (errno != EINTR) {
      return svn_error_wrap_apr(errno, "Writing to ssh failed");
    }
  }
  return SVN_NO_ERROR;
}

svn_error_t* Tunnel::hasData(svn_boolean_t* result) const {
  pollfd output{_output.first.get(), POLLIN, 0};
  *result = ::poll(&output, 1, 0) > 0 ? TRUE : FALSE;
  return SVN_NO_ERROR;
}

void Tunnel::close() {
  _input.second.reset();
  _output.first.reset();
  _errors.first.reset();
  // The handle ends what is left of it.
  _process = qrb::Process();
}

Tunnel& tunnelOf(void* baton) {
  return *static_cast<Tunnel*>(baton);
}

void closeTunnel(void* closeBaton, void*) {
  tunnelOf(closeBaton).close();
}

apr_status_t destroyTunnel(void* tunnel) {
  delete static_cast<Tunnel*>(tunnel);
  return APR_SUCCESS;
}

svn_stream_t* streamOf(Tunnel* tunnel, apr_pool_t* pool) {
  svn_stream_t* stream = svn_stream_create(tunnel, pool);
  svn_stream_set_read2(
      stream, [](void* baton, char* buffer, apr_size_t* length) { return tunnelOf(baton).read(buffer, length, false); },
      [](void* baton, char* buffer, apr_size_t* length) { return tunnelOf(baton).read(buffer, length, true); });
  svn_stream_set_write(
      stream, [](void* baton, const char* data, apr_size_t* length) { return tunnelOf(baton).write(data, length); });
  svn_stream_set_data_available(stream,
                                [](void* baton, svn_boolean_t* result) { return tunnelOf(baton).hasData(result); });
  return stream;
}

}  // namespace

svn_error_t* subversionOpenTunnel(svn_stream_t** request, svn_stream_t** response,
                                  svn_ra_close_tunnel_func_t* closeFunction, void** closeBaton, void* tunnelBaton,
                                  const char* tunnelName, const char* user, const char* hostname, int port,
                                  svn_cancel_func_t cancelFunction, void* cancelBaton, apr_pool_t* pool) {
  if (std::strcmp(tunnelName, "ssh") != 0) {
    return svn_error_createf(SVN_ERR_BAD_URL, nullptr,
                             "“svn+%s” is no way to a server that is used here. Use svn, svn+ssh, http or https.",
                             tunnelName);
  }
  auto* tunnel = new Tunnel(*static_cast<SubversionClient::Private*>(tunnelBaton), cancelFunction, cancelBaton);
  apr_pool_cleanup_register(pool, tunnel, destroyTunnel, apr_pool_cleanup_null);
  if (svn_error_t* error = tunnel->start(user, hostname, port)) return error;
  *request = streamOf(tunnel, pool);
  *response = streamOf(tunnel, pool);
  *closeFunction = closeTunnel;
  *closeBaton = tunnel;
  return SVN_NO_ERROR;
}
