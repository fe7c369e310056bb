#pragma once

#include <cstdint>
#include <vector>

#include "QRBSourceControlCallbacks.h"
#include "QRBSourceControlForward.h"
#include "QRBSourceControlMessage.h"

/// What a host asks of a plug-in, in the order in which the protocol lists it. Every request is answered exactly once.
namespace QRBSourceControlPlugInProtocol {

using qrb::Arguments;
using qrb::Message;
using qrb::OneWay;
using qrb::Reply;
using qrb::ReplyWithoutError;
using qrb::String;

using Files = std::vector<String>;
using Branches = std::vector<QRBSourceControlBranchPtr>;
using LogItems = std::vector<QRBSourceControlLogItemPtr>;
using WorkingCopies = std::vector<QRBSourceControlWorkingCopyPtr>;

/// What answers a message, as its declaration says it: values and an error, or values of one that cannot fail.
template <class... Values>
using Completion = Reply<Values...>;
template <class... Values>
using Answer = ReplyWithoutError<Values...>;

inline constexpr Message<Arguments<>, OneWay> operationsFinished{"operationsFinished"};
#define QRB_MESSAGE(name, selector, line, words, parameters, ...) \
  inline constexpr qrb::MessageOf<__VA_ARGS__ parameters> name{selector};
// Sent only to plug-ins whose descriptor lists it.
#define QRB_ADDED_REQUEST(name, selector, words, subject, parameters, arguments, ...) \
  inline constexpr qrb::MessageOf<__VA_ARGS__ parameters> name{selector, qrb::Served::whereListed};
#include "QRBSourceControlPlugInMessages.h"

}  // namespace QRBSourceControlPlugInProtocol

/// What a plug-in tells the host while it works. Both are one-way; the progress identifier is the one that the request
/// carried, and a host drops what it cannot attribute to a running request.
namespace QRBSourceControlPlugInCallbackProtocol {

/// Status code (QRBSourceControlProgressStatus), progress dictionary, progress identifier.
inline constexpr qrb::Message<qrb::Arguments<std::int64_t, qrb::Dictionary, qrb::String>, qrb::OneWay> progressStatus{
    "progressStatus:withDictionary:progressIdentifier:"};
/// This batch of log items, progress dictionary, progress identifier.
inline constexpr qrb::Message<qrb::Arguments<std::vector<QRBSourceControlLogItemPtr>, qrb::Dictionary, qrb::String>,
                              qrb::OneWay>
    incrementalLogStatus{"incrementalLogStatus:info:progressIdentifier:"};

}  // namespace QRBSourceControlPlugInCallbackProtocol

/// What a progress report says is going on; selects the text when the report brings none of its own.
enum class QRBSourceControlProgressStatus : std::int64_t {
  authenticating = 0,
  transferring = 1,
  copying = 2,
  transferringMore = 3,
  upgrading = 4,
};

/// Keys of a progress dictionary.
/// Number: the fraction done, from 0 to 1.
inline constexpr const char* QRBSourceControlProgressValue = "org.qrb.SourceControlProgressValue";
/// String: shown to the user.
inline constexpr const char* QRBSourceControlProgressHumanReadableString =
    "org.qrb.SourceControlProgressHumanReadableString";
/// A partial result; the host does not read it.
inline constexpr const char* QRBSourceControlProgressResult = "org.qrb.SourceControlProgressResult";
