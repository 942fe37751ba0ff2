// tessel-mdnsd: the own responder as a daemon of its own, shared by every
// process that points TESSEL_MDNS_SOCKET at its socket.
//
//   TESSEL_MDNS_SOCKET=/run/tessel-mdns.sock [TESSEL_MDNS_INTERFACES=eth0] tessel-mdnsd
//
// Serves until SIGINT or SIGTERM. Exit status: 0 after a signal, 1 when the
// responder could not start or ended by itself, 2 for a usage error.
#include <pthread.h>
#include <signal.h>
#include <sys/random.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <thread>

#include "responder.h"

int main(int argc, char** argv) {
  if (argc > 1) {
    const bool help = std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0;
    std::fprintf(help ? stdout : stderr,
                 "usage: TESSEL_MDNS_SOCKET=<path> [TESSEL_MDNS_INTERFACES=<if,...>] %s\n",
                 argv[0]);
    return help ? 0 : 2;
  }
  const char* path = std::getenv("TESSEL_MDNS_SOCKET");
  if (!path || !*path) {
    std::fprintf(stderr, "%s: set TESSEL_MDNS_SOCKET to the socket path to serve on\n", argv[0]);
    return 2;
  }

  // The signals are taken by a thread of ours, outside any handler, which
  // may then call Stop like any other thread.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  mdns_responder::Responder responder;
  std::atomic<bool> signalled{false};
  std::atomic<bool> done{false};
  std::thread waiter([&] {
    int sig = 0;
    sigwait(&signals, &sig);
    if (!done) signalled = true;
    responder.Stop();
  });

  // The mDNS stack draws its probe and answer delays from rand(): unseeded,
  // every daemon would pick the same delays, defeating their purpose.
  unsigned seed = 0;
  if (getrandom(&seed, sizeof seed, 0) != static_cast<ssize_t>(sizeof seed))
    seed = static_cast<unsigned>(getpid()) ^ static_cast<unsigned>(time(nullptr));
  srand(seed);

  mdns_responder::Options options = mdns_responder::Options::FromEnvironment();
  options.socket_path = path;
  const bool served = responder.Run(options);
  done = true;
  if (!signalled) pthread_kill(waiter.native_handle(), SIGTERM);  // release the waiter
  waiter.join();
  if (!served) {
    std::fprintf(stderr, "%s: cannot serve on %s (in use, or no network stack)\n", argv[0], path);
    return 1;
  }
  return signalled ? 0 : 1;
}
