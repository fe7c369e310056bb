#include "QRBSourceControlAuthenticationStrategy.h"

#include "Assertion.h"
#include "QRBSourceControlSingletonPrivate.h"

QRB_DEFINE_OBJECT(QRBSourceControlAuthenticationStrategy, qrb::Object, "QRBSourceControlAuthenticationStrategy",
                  &QRBSourceControlAuthenticationStrategy::initWithCoder);

const QRBSourceControlAuthenticationStrategyPtr& QRBSourceControlAuthenticationStrategy::sharedAnonymousStrategy() {
  // Never destroyed: requests may end after the host's static objects have.
  static const auto& shared =
      *new QRBSourceControlAuthenticationStrategyPtr(std::make_shared<QRBSourceControlAuthenticationStrategy>(Key()));
  return shared;
}

QRBSourceControlAuthenticationStrategyPtr QRBSourceControlAuthenticationStrategy::init() {
  qrb::assertionFailure("Framework/QRBSourceControlAuthenticationStrategy", __LINE__, qrb::kSharedInstanceOnly);
  return nullptr;
}

bool QRBSourceControlAuthenticationStrategy::strategyIsValidForURL(const qrb::URL&) {
  return true;
}

std::shared_ptr<qrb::Object> QRBSourceControlAuthenticationStrategy::copy() const {
  return std::const_pointer_cast<QRBSourceControlAuthenticationStrategy>(shared_from_this());
}

std::shared_ptr<qrb::Object> QRBSourceControlAuthenticationStrategy::initWithCoder(qrb::KeyedUnarchiver&) {
  return std::make_shared<QRBSourceControlAuthenticationStrategy>(Key());
}
