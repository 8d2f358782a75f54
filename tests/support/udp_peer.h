// A UDP socket on this computer, for a server that a test plays.
#ifndef LAUNCHER_TESTS_SUPPORT_UDP_PEER_H_
#define LAUNCHER_TESTS_SUPPORT_UDP_PEER_H_

#include <winsock2.h>

#include <optional>
#include <string>

namespace test_support {

/// Bound to a free port of an address in 127.0.0.0/8.
class UdpPeer {
 public:
  struct Datagram {
    std::string bytes;
    sockaddr_in sender;
  };

  explicit UdpPeer(const char* address = "127.0.0.1");
  UdpPeer(const UdpPeer&) = delete;
  UdpPeer& operator=(const UdpPeer&) = delete;
  ~UdpPeer();

  unsigned short Port() const { return ntohs(bound.sin_port); }
  /// The next datagram, or nothing when none came in time.
  std::optional<Datagram> Receive(unsigned int timeoutMs) const;
  void SendTo(const std::string& bytes, const sockaddr_in& receiver) const;
  /// Lets a `Receive` on another thread return.
  void SendToItself(const std::string& bytes) const;

 private:
  SOCKET socket = INVALID_SOCKET;
  sockaddr_in bound = {};
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_SUPPORT_UDP_PEER_H_
