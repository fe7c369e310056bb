#pragma once

#include "Actions.h"

namespace host {

// What can be done with blueprints, each in a file of its own.
void addBlueprintCreate(Actions& actions);
void addBlueprintShow(Actions& actions);
void addBlueprintValidate(Actions& actions);
void addBlueprintDiff(Actions& actions);
void addBlueprintMerge(Actions& actions);
void addBlueprintConvert(Actions& actions);
void addBlueprintCheckout(Actions& actions);
void addBlueprintCheckUpdates(Actions& actions);

}  // namespace host
