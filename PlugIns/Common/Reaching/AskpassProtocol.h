#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>

// How the program that ssh and git ask for secrets reaches the plug-in that started them. Shared by that program, which
// is built without the library, and AskpassChannel.
//
// The plug-in listens on a SOCK_SEQPACKET socket without a file, whose name (hexadecimal digits) stands in the
// environment: it opens nothing by itself. Who connects sends one packet, the question, and gets one packet, the
// answer. A question is a kind and its values, ended by a zero byte each; an answer is kAskpassYes and a text, or
// kAskpassNo.

inline constexpr const char* kAskpassSocketVariable = "QRB_ASKPASS_SOCKET";
/// A secret is wanted; the one value is the text that a user would see.
inline constexpr const char* kAskpassPromptKind = "prompt";
/// ssh looks a server's key up; the values are what ssh puts for %I, %H, %t, %K and %f. The answer is a line of a
/// known_hosts file.
inline constexpr const char* kAskpassHostKeyKind = "host-key";
inline constexpr int kAskpassHostKeyValues = 5;
inline constexpr std::size_t kAskpassLongestPacket = 64 * 1024;
inline constexpr char kAskpassYes = '+';
inline constexpr char kAskpassNo = '-';

/// Whether a process of this user is at the other end.
inline bool askpassPeerIsOurs(int socket, ucred& peer) {
  socklen_t length = sizeof peer;
  return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 && peer.uid == ::geteuid();
}
