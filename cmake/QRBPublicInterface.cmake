# The public interface: every header that a host or a plug-in may include, and no other. To publish one, add it here, have
# the umbrella header include it, and bring Tests/StrictConsumer/symbols up to date, as that test says. A public header
# includes public headers only; those of Platform it names as users do, <qrb/Error.h>.

# Included as <qrb/NAME>, and installed so.
set(QRB_PUBLIC_PLATFORM_HEADERS
  Archive/ArchiveError.h Archive/ArchiveReader.h Archive/ArchiveWriter.h Archive/Codec.h Archive/KeyedArchiver.h
  Archive/KeyedUnarchiver.h
  Base/Assertion.h Base/AtomicProperty.h Base/Date.h Base/Dictionary.h Base/Error.h Base/Export.h Base/Image.h
  Base/MapTable.h Base/Object.h Base/SharedString.h Base/StringMap.h
  Files/FileDescriptor.h
  Process/FileHandle.h Process/RunLoop.h Process/SandboxSupport.h Process/Secrecy.h
  Queue/Guarded.h Queue/MainThreadExecutor.h Queue/Observer.h Queue/OperationQueue.h Queue/QueueOperation.h
  Queue/SerialQueue.h
  Text/Log.h Text/PathString.h Text/URL.h Text/URLsInText.h Text/UTF8.h Text/UnicodeText.h
  Trust/ServerTrust.h)

# Included as <QRBSourceControl/NAME>.
set(QRB_PUBLIC_FRAMEWORK_HEADERS
  QRBSourceControl.h
  Common/QRBSourceControlConstants.h Common/QRBSourceControlError.h Common/QRBSourceControlIdentifiers.h
  Common/QRBSourceControlString.h Common/QRBSourceControlURL.h
  Engine/Manager/QRBSourceControlManager.h
  Engine/Messages/QRBSourceControlMessage.h Engine/Messages/QRBSourceControlPlugInMessages.h
  Engine/Messages/QRBSourceControlPlugInProtocol.h Engine/Messages/QRBSourceControlServiceProtocols.h
  Engine/Operations/QRBSourceControlAwaiting.h Engine/Operations/QRBSourceControlCancellable.h
  Engine/Operations/QRBSourceControlMultiCancellable.h Engine/Operations/QRBSourceControlOperation.h
  Engine/Services/ServiceDirectories.h Engine/Services/ServiceProcesses.h
  Model/Accounts/QRBSourceControlAccount.h Model/Accounts/QRBSourceControlAccountManager.h
  Model/Accounts/QRBSourceControlSingleRepositoryAccount.h
  Model/Credentials/QRBSourceControlAuthenticationStrategy.h Model/Credentials/QRBSourceControlAuthenticationTypes.h
  Model/Credentials/QRBSourceControlBasicAuthenticationStrategy.h
  Model/Credentials/QRBSourceControlSSHKeysAuthenticationStrategy.h
  Model/Foundation/QRBSourceControlCallbacks.h Model/Foundation/QRBSourceControlForward.h
  Model/History/QRBSourceControlBlameItem.h Model/History/QRBSourceControlHistoryTypes.h
  Model/History/QRBSourceControlLogItem.h Model/History/QRBSourceControlRevision.h
  Model/Locations/QRBSourceControlBranch.h Model/Locations/QRBSourceControlBranchAndTagLocations.h
  Model/Locations/QRBSourceControlLockedRevisionLocation.h Model/Locations/QRBSourceControlPathLocation.h
  Model/Locations/QRBSourceControlRevisionLocation.h Model/Locations/QRBSourceControlTag.h
  Model/People/QRBSourceControlAddressBook.h Model/People/QRBSourceControlAuthor.h
  Model/People/QRBSourceControlVCardAddressBook.h
  Model/Repositories/QRBSourceControlRemoteRepository.h Model/Repositories/QRBSourceControlRepository.h
  Model/Repositories/QRBSourceControlRepositoryIdentifier.h Model/Repositories/QRBSourceControlStatusValues.h
  Model/Repositories/QRBSourceControlSystem.h Model/Repositories/QRBSourceControlSystemPlaceholder.h
  Model/Repositories/QRBSourceControlWorkingCopy.h
  PlugIn/QRBSourceControlPlugInHost.h PlugIn/QRBSourceControlPlugInMain.h PlugIn/QRBSourceControlPlugInPrimary.h
  PlugIn/QRBSourceControlPlugInTools.h
  Trust/QRBSourceControlSSLTrustValidator.h
  Workspace/Blueprints/QRBSourceControlWorkspaceBlueprint.h
  Workspace/Forms/QRBSourceControlWorkspaceBlueprintKeys.h
  Workspace/Workspaces/QRBSourceControlWorkspace.h Workspace/Workspaces/QRBSourceControlWorkspaceForward.h)

# Made from a template, and <qrb/Version.h>.
set(QRB_PUBLIC_VERSION_HEADER ${PROJECT_BINARY_DIR}/include/qrb/Version.h)
configure_file(${PROJECT_SOURCE_DIR}/cmake/Version.h.in ${QRB_PUBLIC_VERSION_HEADER} @ONLY)

# The same two folders in the build tree, of links. Whoever compiles against `include` alone sees what a user of the
# installed library sees.
set(QRB_PUBLIC_INCLUDE_DIRECTORY ${PROJECT_BINARY_DIR}/include)
set(QRB_LAYER_INCLUDE_DIRECTORY ${PROJECT_BINARY_DIR}/layers)

# qrb_link_header(<header> <folder>): a link to the header in a folder of the build tree.
function(qrb_link_header header folder)
  get_filename_component(name ${header} NAME)
  file(MAKE_DIRECTORY ${folder})
  file(CREATE_LINK ${header} ${folder}/${name} SYMBOLIC)
endfunction()

# Links of an earlier list would go on being found.
file(GLOB staleLinks ${QRB_PUBLIC_INCLUDE_DIRECTORY}/*/*.h ${QRB_LAYER_INCLUDE_DIRECTORY}/*/qrb/*.h)
list(REMOVE_ITEM staleLinks ${QRB_PUBLIC_VERSION_HEADER})
set(publicLinks "")
foreach(header ${QRB_PUBLIC_PLATFORM_HEADERS})
  get_filename_component(layer ${header} DIRECTORY)
  get_filename_component(name ${header} NAME)
  # In the tree, for each layer by itself: who does not name the layer does not find its public headers either.
  string(TOLOWER ${layer} layer)
  qrb_link_header(${PROJECT_SOURCE_DIR}/Platform/${header} ${QRB_LAYER_INCLUDE_DIRECTORY}/${layer}/qrb)
  qrb_link_header(${PROJECT_SOURCE_DIR}/Platform/${header} ${QRB_PUBLIC_INCLUDE_DIRECTORY}/qrb)
  list(APPEND publicLinks ${QRB_LAYER_INCLUDE_DIRECTORY}/${layer}/qrb/${name} ${QRB_PUBLIC_INCLUDE_DIRECTORY}/qrb/${name})
endforeach()
foreach(header ${QRB_PUBLIC_FRAMEWORK_HEADERS})
  get_filename_component(name ${header} NAME)
  qrb_link_header(${PROJECT_SOURCE_DIR}/Framework/${header} ${QRB_PUBLIC_INCLUDE_DIRECTORY}/QRBSourceControl)
  list(APPEND publicLinks ${QRB_PUBLIC_INCLUDE_DIRECTORY}/QRBSourceControl/${name})
endforeach()
list(REMOVE_ITEM staleLinks ${publicLinks})
if(staleLinks)
  file(REMOVE ${staleLinks})
endif()

# For programs of this tree that use the library as strangers do but name headers as its own sources do, without folder.
add_library(qrb-public-headers INTERFACE)
target_include_directories(qrb-public-headers INTERFACE ${QRB_PUBLIC_INCLUDE_DIRECTORY}
  ${QRB_PUBLIC_INCLUDE_DIRECTORY}/qrb ${QRB_PUBLIC_INCLUDE_DIRECTORY}/QRBSourceControl)
