#pragma once

#include <string>

#include "CommandDeclaration.h"
#include "QRBSourceControlWorkspaceForward.h"
#include "Result.h"
#include "Session.h"

namespace host {

/// A blueprint read from a file. Unless it is read quietly, repositories that had to be left out have been told of.
struct ReadBlueprint {
  QRBSourceControlWorkspaceBlueprintPtr blueprint;
  /// How many repositories the file has a private key for.
  std::size_t privateKeys = 0;
};
/// Whether nothing had to be left out. What is said of one that is not whole is not the whole truth, and no success.
bool isWhole(const QRBSourceControlWorkspaceBlueprintPtr& blueprint);
enum class BlueprintReading { telling, quiet };
/// Private keys are written below the key directory, for the user's eyes only, or nowhere where it is empty.
qrb::Result<ReadBlueprint> readBlueprint(Session& session, const std::string& file,
                                         const std::string& keyDirectory = {},
                                         BlueprintReading reading = BlueprintReading::telling);
/// Reads a blueprint for a command that reaches the servers: the accounts that the user keeps serve those that the file
/// has no credentials for. That keys are needed and there is no folder for them is told.
qrb::Result<ReadBlueprint> readBlueprintForServers(Session& session, const std::string& file,
                                                   const std::string& keyDirectory);
void addKeyDirectoryOption(CommandDeclaration& command, std::string& directory);

/// Where and how a blueprint is written.
struct BlueprintWriting {
  /// "-" is standard output. The extension decides the form.
  std::string file;
  bool force = false;
  bool credentials = false;
  bool noRevisions = false;
  bool dropsUnusable = false;
};
/// Adds the options for how, but not the file.
void addWritingOptions(CommandDeclaration& command, BlueprintWriting& writing);
/// For commands that write what they have read, and the reading for them: a blueprint whose repositories could not all
/// be read is refused, as they would be lost, unless the user says so. Keys are read where credentials are wanted.
void addRewritingOptions(CommandDeclaration& command, BlueprintWriting& writing);
qrb::Result<ReadBlueprint> readBlueprintToRewrite(Session& session, const std::string& file,
                                                  const BlueprintWriting& writing, const std::string& keyDirectory);
/// Writes it, whole or not at all, and prints where to. Nothing that is there is replaced without being told so.
/// Without credentials wanted, passwords in URLs are taken out, of the blueprint itself too.
ExitStatus writeBlueprint(Session& session, const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                          const BlueprintWriting& writing);

/// The path of the repository's working copy as the blueprint has it, or what the repository is called where it has
/// none.
std::string placeOf(const QRBSourceControlWorkspaceBlueprintPtr& blueprint,
                    const QRBSourceControlRemoteRepositoryPtr& remote);

}  // namespace host
