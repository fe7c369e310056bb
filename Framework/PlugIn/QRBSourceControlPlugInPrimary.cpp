#include "QRBSourceControlPlugInPrimary.h"

#include <unistd.h>

#include "Assertion.h"
#include "QRBSourceControlPlugInProtocol.h"
#include "SubclassResponsibilityPrivate.h"
#include "UnservedPrivate.h"

namespace {

void subclassResponsibility(int line) {
  qrb::assertionFailure("Framework/QRBSourceControlPlugInPrimary", line, qrb::kSubclassResponsibility);
}

template <class ArgumentTypes, class... Values>
void answerUnserved(const qrb::Message<ArgumentTypes, qrb::Reply<Values...>>& message,
                    const std::type_identity_t<QRBSourceControlCompletionBlock<Values...>>& completion) {
  completion(Values()..., qrb::unservedError(message.selector));
}

}  // namespace

void QRBSourceControlPlugInPrimary::operationsFinished() {
  ::_exit(0);
}

// The parameters have names for who reads the declarations; what nobody serves looks at none of them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-parameter"
#define QRB_MESSAGE(name, selector, line, words, parameters, ...)                                          \
  void QRBSourceControlPlugInPrimary::name(QRB_BEFORE_COMPLETION parameters __VA_ARGS__ completionBlock) { \
    subclassResponsibility(line);                                                                          \
  }
#define QRB_ADDED_REQUEST(name, selector, words, subject, parameters, arguments, ...)                      \
  void QRBSourceControlPlugInPrimary::name(QRB_BEFORE_COMPLETION parameters __VA_ARGS__ completionBlock) { \
    answerUnserved(QRBSourceControlPlugInProtocol::name, completionBlock);                                 \
  }
#include "QRBSourceControlPlugInMessages.h"
#pragma GCC diagnostic pop
