#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace sandbox {

// How a stand-in treats a connection.
struct ClamdBehaviour {
    enum class After { kVerdict, kAnswer, kSilence, kEnd };

    std::string version = "ClamAV 1.4.6/27450/Sat Nov 21 09:26:14 2026";
    std::size_t stream_max_length = 25 << 20;
    std::chrono::milliseconds verdict_takes{0};
    std::string answer{};           // instead of each verdict, as it is; empty: a verdict
    After after = After::kVerdict;  // what comes after so many bytes of a content: nothing
    std::size_t bytes = 0;          // special, `answer` at once, no more reading, or the end
};

// A daemon that speaks clamd's protocol over one socket, on a thread of its own, and is as strict:
// what is no command gets an error, each connection gets one answer and ends, and bytes that the
// protocol has no place for count as breaches. A content with kVirus in it is infected. Any thread
// may call it.
class StandInClamd {
public:
    static constexpr const char* kVirus = "a virus for the stand-in";
    static constexpr const char* kVirusName = "Stand.In.Virus-1";

    // At a port of 127.0.0.1, which the system chooses for 0, or at the path of a Unix socket. With
    // `deaf` it accepts no connection, and its queue is full. Raises std::system_error.
    explicit StandInClamd(unsigned short port = 0, bool deaf = false);
    explicit StandInClamd(const std::string& path);
    ~StandInClamd();

    // Where settings say it is.
    std::string address() const;
    unsigned short port() const;

    // For the connections that come from now on.
    void Behave(ClamdBehaviour behaviour);
    // The contents that it has got to their ends.
    std::vector<std::string> contents() const;
    std::size_t connections() const;
    // The most contents that were under way at once.
    std::size_t most_at_once() const;
    std::size_t breaches() const;

private:
    class Daemon;
    const std::unique_ptr<Daemon> daemon_;
};

}  // namespace sandbox
