#pragma once

#include "Command.h"

namespace host {

// What can be done with blueprints, each in a file of its own.
void addBlueprintCreate(CommandDeclaration& blueprint);
void addBlueprintShow(CommandDeclaration& blueprint);
void addBlueprintValidate(CommandDeclaration& blueprint);
void addBlueprintDiff(CommandDeclaration& blueprint);
void addBlueprintMerge(CommandDeclaration& blueprint);
void addBlueprintConvert(CommandDeclaration& blueprint);
void addBlueprintCheckout(CommandDeclaration& blueprint);
void addBlueprintCheckUpdates(CommandDeclaration& blueprint);

}  // namespace host
