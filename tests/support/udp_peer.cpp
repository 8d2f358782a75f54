#include "tests/support/udp_peer.h"

#include <system_error>
#include <vector>

namespace test_support {
namespace {

constexpr std::size_t kMaxDatagramBytes = 65536;

[[noreturn]] void ThrowSocketError(const char* what) {
  throw std::system_error(WSAGetLastError(), std::system_category(), what);
}

}  // namespace

UdpPeer::UdpPeer(const char* address) {
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) ThrowSocketError("WSAStartup");
  socket = ::socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  bound.sin_family = AF_INET;
  bound.sin_addr.s_addr = inet_addr(address);
  int size = sizeof(bound);
  if (socket == INVALID_SOCKET || bind(socket, reinterpret_cast<sockaddr*>(&bound), size) != 0 ||
      getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &size) != 0) {
    ThrowSocketError("a UDP socket of a test");
  }
}

UdpPeer::~UdpPeer() {
  closesocket(socket);
  WSACleanup();
}

std::optional<UdpPeer::Datagram> UdpPeer::Receive(unsigned int timeoutMs) const {
  fd_set readable;
  readable.fd_count = 1;
  readable.fd_array[0] = socket;
  timeval limit;
  limit.tv_sec = static_cast<long>(timeoutMs / 1000);
  limit.tv_usec = static_cast<long>(timeoutMs % 1000 * 1000);
  if (select(0, &readable, nullptr, nullptr, &limit) != 1) return std::nullopt;
  std::vector<char> buffer(kMaxDatagramBytes);
  Datagram datagram = {};
  int size = sizeof(datagram.sender);
  const int received = recvfrom(socket, buffer.data(), static_cast<int>(buffer.size()), 0,
                                reinterpret_cast<sockaddr*>(&datagram.sender), &size);
  if (received == SOCKET_ERROR) return std::nullopt;
  datagram.bytes.assign(buffer.data(), static_cast<std::size_t>(received));
  return datagram;
}

void UdpPeer::SendTo(const std::string& bytes, const sockaddr_in& receiver) const {
  if (sendto(socket, bytes.data(), static_cast<int>(bytes.size()), 0,
             reinterpret_cast<const sockaddr*>(&receiver), sizeof(receiver)) == SOCKET_ERROR) {
    ThrowSocketError("sendto");
  }
}

void UdpPeer::SendToItself(const std::string& bytes) const { SendTo(bytes, bound); }

}  // namespace test_support
