#pragma once

#include <qrb/Export.h>
#include <qrb/Object.h>
#include <qrb/SharedString.h>
#include <qrb/URL.h>

#include "QRBSourceControlAuthenticationTypes.h"
#include "QRBSourceControlForward.h"

/// How a request authenticates against a server. This class is the way without any credentials; its subclasses hold
/// some.
///
/// Immutable; shared freely between threads. Descriptions hold no secret.
class QRB_EXPORT QRBSourceControlAuthenticationStrategy
    : public qrb::Object,
      public std::enable_shared_from_this<QRBSourceControlAuthenticationStrategy> {
  QRB_OBJECT;

 protected:
  struct Key {
    explicit Key() = default;
  };

 public:
  /// The one strategy for everything anonymous; decoding makes others.
  static const QRBSourceControlAuthenticationStrategyPtr& sharedAnonymousStrategy();
  /// A programming error, since there is a shared one: asserts and answers null.
  static QRBSourceControlAuthenticationStrategyPtr init();
  explicit QRBSourceControlAuthenticationStrategy(Key) noexcept {}

  /// What the kind is called; English.
  static qrb::String name() { return "Anonymous"; }
  /// The one bit that stands for the kind.
  virtual QRBSourceControlAuthenticationTypes type() const noexcept {
    return QRBSourceControlAuthenticationTypeAnonymous;
  }
  /// Whether strategies of this kind can serve a URL at all.
  static bool strategyIsValidForURL(const qrb::URL& url);
  /// Whether this strategy's own kind can.
  virtual bool isValidForURL(const qrb::URL& url) const { return strategyIsValidForURL(url); }

  std::string description() const override { return "Anonymous Authentication"; }
  /// The strategy itself; a subclass's gives another that is equal to it.
  std::shared_ptr<qrb::Object> copy() const override;

  /// For archives: reads nothing and gives a new strategy, which is not equal to the shared one.
  static std::shared_ptr<qrb::Object> initWithCoder(qrb::KeyedUnarchiver& coder);
};
