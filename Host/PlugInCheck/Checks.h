#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <span>
#include <string>

#include "Conversation.h"
#include "PlugInCheck.h"
#include "QRBSourceControlForward.h"

namespace host {

/// What came of one check.
struct Verdict {
  enum class Result { ok, wrong, notServed, skipped };
  Result result = Result::ok;
  /// For people: what is wrong, or worth knowing.
  std::string detail = {};

  static Verdict ok(std::string detail = {}) { return {Result::ok, std::move(detail)}; }
  static Verdict wrong(std::string detail) { return {Result::wrong, std::move(detail)}; }
  static Verdict notServed() { return {Result::notServed, {}}; }
  static Verdict skipped(std::string why) { return {Result::skipped, std::move(why)}; }
  /// What a fault makes of a check that needed the answer.
  static Verdict of(const PlugInAnswer& answer);
};

/// A check by its short name, and what the page says in the section of that name.
struct CheckText {
  const char* name;
  const char* section;
  const char* demand;
};

/// What the requests are about that find out what is served: nothing, in an empty folder.
struct EmptyExample {
  QRBSourceControlWorkingCopyPtr workingCopy;
  QRBSourceControlRepositoryPtr repository;
  QRBSourceControlRemoteRepositoryPtr remote;
};

/// The sections of the page that most checks are of.
inline constexpr const char* kLifeSection = "A plug-in's life";
inline constexpr const char* kMessagesSection = "Messages on the wire";
inline constexpr const char* kRequestsSection = "Requests";
/// Why a check that needs the answer is skipped.
inline constexpr const char* kNoAnswer = "The listing was not answered.";

/// The plug-in under check, and what the checks before have learnt of it. One thread at a time.
struct PlugInUnderCheck {
  std::filesystem::path file;
  std::string identifier;
  Conversation::Setting setting;
  /// The listing, which most checks look at.
  struct Listing {
    PlugInAnswer answer;
    QRBSourceControlSystemPtr system;
    /// Why there is no system although there is an answer.
    std::string undecodable;
    std::optional<qrb::ExitStatus> ended;
    /// What came after the answer.
    PlugInAnswer rest;
    std::string lastWords;
  };
  std::optional<Listing> listing;
  /// It does not say so of what it does not serve, and so an end tells nothing of what it does serve.
  bool hidesUnserved = false;
  std::set<std::string_view> served;

  const Listing& asked();
  /// An example of its system, which is there.
  EmptyExample emptyExample();
};

/// A check that talks to the plug-in itself, off the main thread.
struct RawCheck : CheckText {
  Verdict (*run)(PlugInUnderCheck& plugIn);
};

/// The file, its descriptor, and how it ends.
std::span<const RawCheck> lifeChecks();
/// How it deals with what it does not know, or does not understand.
std::span<const RawCheck> mannersChecks();
/// The checks of the requests that it serves, once these are known.
std::span<const RawCheck> argumentChecks();

/// A request of the protocol.
struct RequestProbe {
  std::string_view method;
  /// Whether only those are asked whose descriptor lists it.
  bool isAdditional;
  std::size_t argumentCount;
  /// The example, and else absent values.
  Conversation::Encoder (*arguments)(const EmptyExample& example);
  /// What is wrong with the reply values; empty where nothing is.
  std::string (*undecodable)(const PlugInAnswer& answer);
};

std::span<const RequestProbe> requestProbes();
/// Whether it serves the request.
Verdict probe(PlugInUnderCheck& plugIn, const RequestProbe& request);

}  // namespace host
