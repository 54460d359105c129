// capture.h: a TCP connection in a file that Wireshark reads, and what it shows of it.
//
// The packets are made up, so nothing on this host is listened to.

#pragma once

#include "test/scripted.h"

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace vnt {

class capture {
  public:
    explicit capture(const std::string &path);

    // Begins another connection; unless `whole`, without the packets that open it.
    void connect(bool whole = true);

    // Bytes that one side sends, in segments of at most so many.
    void send(bool from_client, const std::string &bytes, size_t segment = 1400);

    // Bytes that were sent and not captured.
    void lose(bool from_client, size_t bytes) { sequence[from_client] += uint32_t(bytes); }

  private:
    void packet(bool from_client, int flags, const std::string &payload);
    std::ofstream out;
    uint16_t client_port = 40000;
    uint32_t sequence[2]; // next of the server and of the client
    uint32_t microseconds = 0;
};

// Stands before a server and keeps what passes, one connection after the other.
class recording_relay {
  public:
    recording_relay(int server_port, capture *to);
    std::string port() const { return std::to_string(door.port); }

    // Waits for the end of the connection at hand.  Returns what has passed from servers and from
    // clients, without the handshakes.
    struct traffic {
        std::string from[2];
    };
    traffic end();

  private:
    void serve(int client, int server);
    bool forward(int from, int to, bool from_client);
    capture *kept;
    traffic passed;
    scripted_server door; // last: its thread uses all of the above
};

// What Wireshark shows of a message or a part of a handshake: names and values in order.
using shown_unit = std::vector<std::pair<std::string, std::string>>;

// The value of the first field of the name, or an empty string.
std::string shown_value(const shown_unit &unit, const std::string &name);

// Whether the message of that name goes to the server.
bool client_sends(const std::string &message);

bool tshark_there();
std::string dissector_option(); // of tshark: behind -X

// Reads the capture with the dissector of the build.  Fails the test when tshark complains.
std::vector<shown_unit> tshark_units(const std::string &path,
                                     const std::vector<std::string> &options = {});

// What a unit shows of the bytes alone, each field of the catalogue as "vanto.NAME"; what is said
// of them stays out, unless they are malformed.
shown_unit carried(const shown_unit &unit);

// The record as `carried` has it, and all the messages of a stream of bytes.
shown_unit record_shown(const void *record);
std::vector<shown_unit> stream_shown(const std::string &bytes);

} // namespace vnt
