// A game, a game server and a ping helper that send whatever comes out of a generator of random
// numbers. Which, follows from the seed and from how often they were asked.
#ifndef LAUNCHER_TESTS_HOST_ROBUSTNESS_HOSTILE_PEERS_H_
#define LAUNCHER_TESTS_HOST_ROBUSTNESS_HOSTILE_PEERS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/dll_host.h"
#include "tests/support/import_redirector.h"
#include "tests/support/udp_peer.h"

namespace test_support {

/// Turns the bytes of a game into the events that a host has to get, as docs/formats.md describes
/// the frames; shares nothing with the library.
class FrameReader {
 public:
  explicit FrameReader(std::wstring eventSource) : source(std::move(eventSource)) {}

  void Feed(const std::string& bytes);
  const std::vector<Event>& Events() const { return events; }
  /// A frame began with other bytes than it must: the connection ends.
  bool IsBroken() const { return isBroken; }

 private:
  std::wstring source;
  std::string pending;
  std::vector<Event> events;
  bool isBroken = false;
};

/// Plays a game that sends frames, torn frames and nonsense in pieces of any size, takes commands
/// or leaves them lying, and goes away.
class HostileGame {
 public:
  HostileGame(DllHost& testedHost, std::uint64_t seed) : host(testedHost), random(seed) {}

  /// One life of the game. Returns what the host got wrong; empty when nothing.
  std::string Live();
  std::size_t SentBytes() const { return sentBytes; }
  std::size_t SeenEvents() const { return seenEvents; }

 private:
  std::size_t Below(std::size_t limit) { return random() % limit; }
  std::string RandomText(std::size_t length);
  std::string RandomPiece();

  DllHost& host;
  std::mt19937_64 random;
  std::size_t sentBytes = 0;
  std::size_t seenEvents = 0;
};

/// Plays a game server on a thread of its own: it answers with anything from nothing to the largest
/// datagram there is, once or twice, and strangers answer as well. What it answers depends on the
/// seed and on the game identifier in the request alone, so that a run can be repeated.
class HostileServer {
 public:
  HostileServer(DllHost& testedHost, std::uint64_t serverSeed);
  HostileServer(const HostileServer&) = delete;
  HostileServer& operator=(const HostileServer&) = delete;
  ~HostileServer();

  /// Asks with `count` queries at once. Returns what the host got wrong; empty when nothing.
  std::string Ask(std::size_t count);
  std::size_t SentBytes() const { return sentBytes; }

 private:
  void Serve();
  void Answer(const UdpPeer::Datagram& request);
  std::set<std::wstring> TakeStatuses(std::uint64_t gameId);

  DllHost& host;
  std::uint64_t seed;
  std::uint64_t nextGameId = 1;
  ImportRedirector patience;
  UdpPeer peer;
  UdpPeer stranger;
  std::atomic<bool> stops = false;
  std::atomic<std::size_t> sentBytes = 0;
  std::mutex mutex;
  // What each query may end with, after what it was answered.
  std::map<std::uint64_t, std::set<std::wstring>> statuses;
  std::thread thread;
};

/// Plays the helper of ping batches, which replies with any number of messages of any length.
class HostileHelper {
 public:
  HostileHelper(DllHost& testedHost, std::uint64_t seed) : host(testedHost), random(seed) {}

  /// One batch. Returns what the host got wrong; empty when nothing.
  std::string Live();
  /// How many replies were good and gave times to the host.
  std::size_t GoodReplies() const { return goodReplies; }

 private:
  std::size_t Below(std::size_t limit) { return random() % limit; }
  std::string Noise(std::size_t length);

  DllHost& host;
  std::mt19937_64 random;
  std::size_t goodReplies = 0;
};

}  // namespace test_support

#endif  // LAUNCHER_TESTS_HOST_ROBUSTNESS_HOSTILE_PEERS_H_
