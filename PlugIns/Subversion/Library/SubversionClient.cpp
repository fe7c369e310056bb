#include "SubversionClient.h"

#include <apr_strings.h>
#include <poll.h>
#include <svn_hash.h>
#include <svn_props.h>

#include "SubversionClientPrivate.h"
#include "SubversionTunnel.h"

namespace {

/// Asked very often; the system is asked now and then.
svn_error_t* cancelWithoutHost(void* baton) {
  auto& self = *static_cast<SubversionClient::Private*>(baton);
  if (self.hostConnection < 0 || ++self.cancelQuestions % 64 != 0) return SVN_NO_ERROR;
  pollfd connection{self.hostConnection, POLLRDHUP, 0};
  bool isGone = ::poll(&connection, 1, 0) > 0 && (connection.revents & (POLLHUP | POLLRDHUP | POLLERR)) != 0;
  return isGone ? svn_error_create(SVN_ERR_CANCELLED, nullptr, "The host is gone.") : SVN_NO_ERROR;
}

SubversionNotice::Action actionOf(const svn_wc_notify_t& notify) {
  if (notify.content_state == svn_wc_notify_state_conflicted || notify.prop_state == svn_wc_notify_state_conflicted ||
      notify.action == svn_wc_notify_tree_conflict) {
    return SubversionNotice::Action::conflicted;
  }
  switch (notify.action) {
    case svn_wc_notify_add:
    case svn_wc_notify_copy:
    case svn_wc_notify_update_add:
    case svn_wc_notify_restore:
      return SubversionNotice::Action::added;
    case svn_wc_notify_upgraded_path:
      return SubversionNotice::Action::upgraded;
    default:
      return SubversionNotice::Action::other;
  }
}

void tellNotice(void* baton, const svn_wc_notify_t* notify, apr_pool_t*) {
  auto& self = *static_cast<SubversionClient::Private*>(baton);
  if (self.notices) self.notices({actionOf(*notify), subversionView(notify->path)});
}

svn_error_t* giveMessage(const char** message, const char** temporaryFile, const apr_array_header_t*, void* baton,
                         apr_pool_t* pool) {
  auto& self = *static_cast<SubversionClient::Private*>(baton);
  *message = apr_pstrmemdup(pool, self.message.data(), self.message.size());
  *temporaryFile = nullptr;
  return SVN_NO_ERROR;
}

/// Every tunnel comes here, so none that a configuration describes is ever started.
svn_boolean_t wantsEveryTunnel(void*, const char*) {
  return TRUE;
}

/// Of the user's configuration counts what says how to treat files and how to reach servers; programs do not.
void dropPrograms(apr_hash_t* configuration) {
  auto* settings = static_cast<svn_config_t*>(svn_hash_gets(configuration, SVN_CONFIG_CATEGORY_CONFIG));
  if (settings == nullptr) return;
  for (const char* const program : {SVN_CONFIG_OPTION_DIFF_CMD, SVN_CONFIG_OPTION_DIFF3_CMD,
                                    SVN_CONFIG_OPTION_MERGE_TOOL_CMD, SVN_CONFIG_OPTION_EDITOR_CMD}) {
    svn_config_set(settings, SVN_CONFIG_SECTION_HELPERS, program, nullptr);
  }
}

}  // namespace

SubversionClient::Private::Private(int connection) : hostConnection(connection), authentication(connection) {}

svn_client_ctx_t* SubversionClient::Private::context() {
  if (_context != nullptr) return _context;
  svn_error_clear(svn_client_create_context2(&_context, nullptr, pool));
  _context->cancel_func = cancelWithoutHost;
  _context->notify_func2 = tellNotice;
  _context->log_msg_func3 = giveMessage;
  _context->check_tunnel_func = wantsEveryTunnel;
  _context->open_tunnel_func = subversionOpenTunnel;
  _context->cancel_baton = _context->notify_baton2 = _context->log_msg_baton3 = _context->tunnel_baton = this;
  _context->client_name = "qrb";
  return _context;
}

SubversionFailure SubversionClient::Private::open() {
  if (_isOpen) return {};
  svn_client_ctx_t* made = context();
  apr_hash_t* configuration = nullptr;
  if (svn_error_t* error = svn_config_get_config(&configuration, nullptr, pool)) {
    return subversionFailure(error);
  }
  dropPrograms(configuration);
  made->config = configuration;
  if (SubversionFailure failure = authentication.open(&made->auth_baton, configuration, pool)) return failure;
  _isOpen = true;
  return {};
}

SubversionClient::SubversionClient(int hostConnection) : _private(std::make_unique<Private>(hostConnection)) {}

SubversionClient::~SubversionClient() = default;

void SubversionClient::setAccess(qrb::RemoteAccess access) {
  _private->authentication.setAccess(std::move(access));
}

const qrb::RemoteAccess& SubversionClient::access() const {
  return _private->authentication.access();
}

const SubversionServerAsked& SubversionClient::asked() const {
  return _private->authentication.asked();
}

void SubversionClient::setNotices(std::function<void(const SubversionNotice&)> notices) {
  _private->notices = std::move(notices);
}
