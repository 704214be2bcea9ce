// Deadlines for asynchronous Asio operations: the operation is started on an
// io_context of its own, the context runs for at most the timeout, and an
// operation still pending then is cancelled and its handler run, so that no
// handler outlives the call that started it.
#pragma once

#include "Transport.h"

#include <asio.hpp>

#include <cstddef>
#include <string>

namespace zorv::wire::detail
{

struct Outcome
{
    bool finished = false;
    asio::error_code ec;
    std::size_t bytes = 0;
};

// A completion handler that stores what an operation ended with.
inline auto storeIn(Outcome& outcome)
{
    return [&outcome](const asio::error_code& ec, std::size_t bytes = 0) {
        outcome.finished = true;
        outcome.ec = ec;
        outcome.bytes = bytes;
    };
}

// Runs io until outcome is finished or timeout has passed; then cancels what
// is pending and runs the cancelled handlers. The operation timed out when
// its error is operation_aborted: one that completed at the deadline keeps
// its result.
template <class Cancel>
void runUntil(asio::io_context& io, const Outcome& outcome, Timeout timeout, Cancel cancel)
{
    io.restart();
    io.run_for(timeout);
    if (!outcome.finished)
    {
        cancel();
        io.restart();
        io.run();
    }
}

inline bool timedOut(const Outcome& outcome)
{
    return outcome.ec == asio::error::operation_aborted;
}

// The peer is gone: end of stream, reset, broken pipe or (a serial line
// whose other end vanished) an I/O error.
inline bool peerGone(const asio::error_code& ec)
{
    return ec == asio::error::eof || ec == asio::error::connection_reset || ec == asio::error::broken_pipe ||
           ec == asio::error::connection_aborted || ec == asio::error_code(EIO, asio::system_category());
}

inline std::string ms(Timeout timeout)
{
    return std::to_string(timeout.count()) + " ms";
}

}  // namespace zorv::wire::detail
