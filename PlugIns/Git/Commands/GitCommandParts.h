#pragma once

#include <initializer_list>
#include <string_view>

#include "GitCommands.h"

// What the functions that build commands share.

/// A command that begins with gitCommonArguments() and takes paths as names, never as patterns.
GitCommand gitMakeCommand(std::initializer_list<std::string_view> arguments);
/// Begins a command that changes the repository or its working copy.
GitCommand gitMakeWritingCommand(std::initializer_list<std::string_view> arguments);
/// Begins one that runs hooks. Paths are patterns in it: what makes them names would reach the git of the hooks.
GitCommand gitMakeHookedCommand(std::initializer_list<std::string_view> arguments);
void gitAddArguments(GitCommand& command, std::initializer_list<std::string_view> arguments);
/// One that compares the files of two revisions or trees, and prints much.
GitCommand gitMakeComparison(std::initializer_list<std::string_view> arguments, std::string_view from,
                             std::string_view to);
/// A command that must not be run; `kind` as for GitCommand::refusalOf.
GitCommand gitRefusedCommand(std::string_view kind, std::string_view name);
/// Whether a text can be handed to git as a path.
bool gitIsPlainPath(std::string_view path);
