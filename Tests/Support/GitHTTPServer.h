#pragma once

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ConnectionServer.h"
#include "RunProgram.h"
#include "TestGate.h"

namespace qrb::test {

/// A certificate of its own making that no authority has signed, with its key, in one folder.
struct TestCertificate {
  std::string certificate;
  std::string key;

  /// For 127.0.0.1 and localhost. With the key of another it is another certificate of the same key.
  static TestCertificate make(const std::string& folder, const std::string& name, const std::string& keyOf = "") {
    TestCertificate result{folder + "/" + name + ".pem", keyOf.empty() ? folder + "/" + name + ".key" : keyOf};
    std::vector<std::string> command = {
        "openssl", "req",         "-x509",   "-batch",
        "-days",   "2",           "-out",    result.certificate,
        "-subj",   "/CN=" + name, "-addext", "subjectAltName=IP:127.0.0.1,DNS:localhost"};
    if (keyOf.empty()) {
      command.insert(command.end(), {"-newkey", "rsa:2048", "-nodes", "-keyout", result.key});
    } else {
      command.insert(command.end(), {"-key", result.key});
    }
    ProgramResult made = runProgram(command, {"PATH=/usr/bin:/bin"}, folder);
    if (made.status != 0) throw std::runtime_error(made.output);
    return result;
  }

  /// SHA-1, 40 upper-case digits.
  std::string fingerprint() const {
    std::string shown = runProgram({"openssl", "x509", "-noout", "-fingerprint", "-sha1", "-in", certificate},
                                   {"PATH=/usr/bin:/bin"}, "/")
                            .output;
    shown.erase(0, shown.find('=') + 1);
    std::erase(shown, ':');
    std::erase(shown, '\n');
    return shown;
  }
};

/// Apache with git's own HTTP backend, over a folder of bare repositories. Below /git/ everybody may fetch, below
/// /private/ only ada with her password may, and push; below /forbidden/ nobody may who logs in; /moved/ sends on to
/// `movedTo`; a closed one lets ada alone in anywhere. Plain HTTP and HTTPS, each on a port of its own.
class GitHTTPServer {
 public:
  static constexpr const char* program = "/usr/sbin/apache2";
  static bool isInstalled() { return ::access(program, X_OK) == 0; }
  static constexpr const char* user = "ada";
  /// With all that could trip a quotation.
  static constexpr const char* password = "s3cr3t $(touch x) '\"\\%41 ä";

  struct Options {
    TestCertificate certificate;
    std::string movedTo = "http://localhost:1/";
    bool isClosed = false;
    /// What else is served, as modules and in the words of the server's configuration.
    std::vector<std::string> moreModules = {};
    std::string moreConfiguration = {};
  };

  GitHTTPServer(const std::string& folder, const Options& options) : _folder(folder) {
    // Served by an unprivileged user where root runs the tests.
    for (const char* name : {"", "/gate", "/repositories"}) {
      std::filesystem::create_directories(folder + name);
      std::filesystem::permissions(folder + name, std::filesystem::perms::all);
    }
    _gate = std::make_unique<TestGate>(folder + "/gate");
    writeBackend();
    writePasswords();
    // A port is free when it is looked for and may be taken by the time that the server wants it.
    for (int attempt = 0; attempt < 5; ++attempt) {
      _port = listenOnLoopback().second;
      _securePort = listenOnLoopback().second;
      writeConfiguration(options);
      if (start()) return;
    }
    throw std::runtime_error("Apache does not start: " + _said);
  }
  ~GitHTTPServer() { stop(); }
  GitHTTPServer(const GitHTTPServer&) = delete;
  GitHTTPServer& operator=(const GitHTTPServer&) = delete;

  std::string url(const std::string& path) const { return "http://127.0.0.1:" + std::to_string(_port) + path; }
  std::string secureURL(const std::string& path) const {
    return "https://127.0.0.1:" + std::to_string(_securePort) + path;
  }
  /// Makes a bare repository of that name from another one.
  void serve(const std::string& name, const std::string& from) const {
    std::string path = _folder + "/repositories/" + name;
    ProgramResult made = runProgram({"git", "clone", "-q", "--bare", "--no-hardlinks", from, path},
                                    {"PATH=/usr/bin:/bin", "HOME=" + _folder, "GIT_CONFIG_NOSYSTEM=1"}, "/");
    if (made.status != 0) throw std::runtime_error(made.output);
    if (::geteuid() == 0) runProgram({"chown", "-R", "nobody:", path}, {"PATH=/usr/bin:/bin"}, "/");
  }
  /// The object name of a branch of a repository that is served; empty without one.
  std::string revisionOf(const std::string& name, const std::string& branch) const {
    const ProgramResult shown =
        runProgram({"git", "-c", "safe.directory=*", "--git-dir", "repositories/" + name, "rev-parse", "--verify", "-q",
                    "refs/heads/" + branch},
                   {"PATH=/usr/bin:/bin", "HOME=" + _folder, "GIT_CONFIG_NOSYSTEM=1", "GIT_CONFIG_COUNT=1",
                    "GIT_CONFIG_KEY_0=safe.directory", "GIT_CONFIG_VALUE_0=*"},
                   _folder);
    return shown.output.substr(0, shown.output.find('\n'));
  }
  /// Where each request to git's backend waits.
  const TestGate& gate() const { return *_gate; }
  /// A line for each request so far: what was asked for and the credentials that came with it.
  std::string requests() const {
    std::ifstream file(_folder + "/requests");
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  void writeBackend() const {
    std::string path = _folder + "/backend";
    std::ofstream(path) << "#!/bin/sh\n" << _gate->script() << "exec /usr/lib/git-core/git-http-backend\n";
    std::filesystem::permissions(path, std::filesystem::perms(0755));
  }

  void writePasswords() const {
    ProgramResult hash = runProgram({"openssl", "passwd", "-apr1", password}, {"PATH=/usr/bin:/bin"}, "/");
    std::ofstream(_folder + "/passwords") << user << ":" << hash.output;
  }

  void writeConfiguration(const Options& options) const {
    std::ofstream file(_folder + "/apache.conf");
    file << "ServerName localhost\nServerRoot " << _folder << "\nPidFile " << _folder << "/pid\nDefaultRuntimeDir "
         << _folder << "\nErrorLog /dev/stderr\nLogLevel notice\n"
         << "Listen 127.0.0.1:" << _port << "\nListen 127.0.0.1:" << _securePort << "\n";
    if (::geteuid() == 0) file << "User nobody\nGroup nogroup\n";
    std::vector<std::string> modules = {"mpm_prefork", "authn_core", "authn_file",    "authz_core",
                                        "authz_user",  "auth_basic", "alias",         "env",
                                        "cgi",         "ssl",        "socache_shmcb", "mime"};
    modules.insert(modules.end(), options.moreModules.begin(), options.moreModules.end());
    for (const std::string& module : modules) {
      file << "LoadModule " << module << "_module /usr/lib/apache2/modules/mod_" << module << ".so\n";
    }
    file << "TypesConfig /dev/null\nStartServers 2\nMinSpareServers 1\nKeepAlive Off\n"
         << "LogFormat \"%U %{Authorization}i\" asked\nCustomLog " << _folder << "/requests asked\n"
         << "SetEnv GIT_PROJECT_ROOT " << _folder << "/repositories\nSetEnv GIT_HTTP_EXPORT_ALL 1\nSetEnv HOME "
         << _folder << "\nSetEnv GIT_CONFIG_NOSYSTEM 1\n";
    for (const char* place : {"/git/", "/private/", "/forbidden/"}) {
      file << "ScriptAlias " << place << " " << _folder << "/backend/\n";
    }
    file << "<Directory " << _folder << ">\nRequire all granted\n</Directory>\n"
         << "<Location " << (options.isClosed ? "/" : "/private/") << ">\nAuthType Basic\nAuthName test\nAuthUserFile "
         << _folder << "/passwords\nRequire user " << user << "\n</Location>\n"
         << "<Location /forbidden/>\nAuthType Basic\nAuthName test\nAuthUserFile " << _folder
         << "/passwords\nRequire user somebody\nAuthzSendForbiddenOnFailure On\n</Location>\n"
         << "Redirect /moved/ " << options.movedTo << "\n"
         << options.moreConfiguration << "SSLSessionCache none\n<VirtualHost 127.0.0.1:" << _securePort
         << ">\nSSLEngine on\nSSLCertificateFile " << options.certificate.certificate << "\nSSLCertificateKeyFile "
         << options.certificate.key << "\n</VirtualHost>\n";
  }

  /// Waits until it serves or ends.
  bool start() {
    auto errors = makePipe();
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, errors.second.get(), STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors.second.get(), STDERR_FILENO);
    std::string configuration = _folder + "/apache.conf";
    const char* const arguments[] = {program, "-f", configuration.c_str(), "-D", "FOREGROUND", nullptr};
    const char* const environment[] = {"PATH=/usr/bin:/bin", nullptr};
    // In a session of its own, for it ends its whole process group.
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    ::posix_spawn(&_process, program, &actions, &attributes, const_cast<char**>(arguments),
                  const_cast<char**>(environment));
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    errors.second.reset();
    _said.clear();
    char buffer[4096];
    for (ssize_t got; (got = ::read(errors.first.get(), buffer, sizeof buffer)) > 0;) {
      _said.append(buffer, static_cast<std::size_t>(got));
      if (_said.find("resuming normal operations") == std::string::npos) continue;
      _drain = std::thread([pipe = std::move(errors.first)] { drain(pipe); });
      return true;
    }
    stop();
    return false;
  }

  static void drain(const FileDescriptor& pipe) {
    char buffer[4096];
    while (::read(pipe.get(), buffer, sizeof buffer) > 0) {
    }
  }

  void stop() {
    if (_process > 0) {
      ::kill(_process, SIGTERM);
      ::waitpid(_process, nullptr, 0);
    }
    _process = -1;
    if (_drain.joinable()) _drain.join();
  }

  const std::string _folder;
  std::unique_ptr<TestGate> _gate;
  int _port = 0;
  int _securePort = 0;
  pid_t _process = -1;
  std::string _said;
  std::thread _drain;
};

}  // namespace qrb::test
