#pragma once

// Every class that may cross to a plug-in or back. For sources that send or take in messages: an archive's allow-lists
// are made from complete types.

#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlBlameItem.h"
#include "QRBSourceControlBranch.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlLogItem.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRemoteRepository.h"
#include "QRBSourceControlRepository.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlRevisionLocation.h"
#include "QRBSourceControlSystem.h"
#include "QRBSourceControlSystemPlaceholder.h"
#include "QRBSourceControlTag.h"
#include "QRBSourceControlWorkingCopy.h"
