#pragma once

#include <functional>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include <qrb/Codec.h>
#include <qrb/Error.h>

namespace qrb {

/// The types of a message's arguments, in order. A type's declaration is also what its place admits.
template <class... T>
struct Arguments {};
/// Reply values; the error comes after them. On failure they are absent.
template <class... T>
struct Reply {};
/// Reply values of a message that cannot fail.
template <class... T>
struct ReplyWithoutError {};
/// No reply at all.
struct OneWay {};

/// Whether a service has to be asked first what it serves.
enum class Served {
  /// The message belongs to the protocol as it is; who does not serve it says so when it is asked.
  always,
  /// It was added later, and is sent only to plug-ins whose descriptor lists it.
  whereListed,
};

/// One message that host and service may exchange, declared once: sending, dispatch and the classes admitted on either
/// side all follow from the declaration.
template <class ArgumentTypes, class ReplyTypes>
struct Message;

template <class... A, class... R>
struct Message<Arguments<A...>, Reply<R...>> {
  using ArgumentTuple = std::tuple<A...>;
  using ReplyTuple = std::tuple<R...>;
  using Completion = std::function<void(const R&..., const Error&)>;
  static constexpr bool canFail = true;

  std::string_view selector;
  Served served = Served::always;
};

template <class... A, class... R>
struct Message<Arguments<A...>, ReplyWithoutError<R...>> {
  using ArgumentTuple = std::tuple<A...>;
  using ReplyTuple = std::tuple<R...>;
  using Completion = std::function<void(const R&...)>;
  static constexpr bool canFail = false;

  std::string_view selector;
};

template <class... A>
struct Message<Arguments<A...>, OneWay> {
  using ArgumentTuple = std::tuple<A...>;

  std::string_view selector;
};

namespace detail {
template <class Function>
struct MessageOfFunction;
template <class ReplyTypes, class... Parameters>
struct MessageOfFunction<ReplyTypes(Parameters...)> {
  using Type = Message<Arguments<std::remove_cvref_t<Parameters>...>, ReplyTypes>;
};
}  // namespace detail

/// The message whose arguments are the parameters of a function that returns its reply: `MessageOf<Reply<R>(const
/// A&)>`.
template <class Function>
using MessageOf = typename detail::MessageOfFunction<Function>::Type;

/// Writes values (or references to them) as the array that a message carries.
template <class... T>
void writeValues(ArchiveWriter& writer, const std::tuple<T...>& values) {
  writer.writeArrayHeader(sizeof...(T));
  std::apply([&](const auto&... value) { (Codec<std::remove_cvref_t<T>>::write(writer, value), ...); }, values);
}

/// Reads such an array. A value that is missing or nil is absent, one too many is passed over, so that an older and a
/// newer side understand each other; one of another type than declared throws ArchiveError.
template <class... T>
std::tuple<T...> readValues(ArchiveNode node, const std::tuple<T...>*) {
  std::size_t count = node.isNil() ? 0 : node.count();
  std::size_t next = 0;
  [[maybe_unused]] auto read = [&]<class V>(const V*) -> V {
    std::size_t index = next++;
    if (index >= count) return V();
    ArchiveNode value = node.element(index);
    if (value.isNil()) return V();
    return readAt([&] { return "value " + std::to_string(next); }, [&] { return Codec<V>::read(value); });
  };
  // Braces, not parentheses: they fix the order of the calls.
  return std::tuple<T...>{read(static_cast<const T*>(nullptr))...};
}

template <class Tuple>
Tuple readValues(ArchiveNode node) {
  return readValues(node, static_cast<const Tuple*>(nullptr));
}

}  // namespace qrb
