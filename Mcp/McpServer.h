// The Model Context Protocol server that other AI apps start as "vellmora-mcp": JSON-RPC 2.0 over standard
// input and output, one message per line. It offers read-only tools over the recordings library: list and
// search recordings, and read a recording's transcript lines, summary and action items.
//
// Contract at the edges:
// - Every line gets at most one answer line; notifications (no "id") get none. A line that is not JSON, a
//   message that is not a request, an unknown method, bad parameters: a JSON-RPC error answer, never a
//   crash and never an end of the session.
// - A tool that fails for the user (no such recording, a library that cannot be opened) answers a result
//   with "isError": true and the reason, as the protocol asks, so the AI app can tell its user.
// - The database is opened on first use (read-only in the helper); opening again is retried on the next call
//   after a failure.
#pragma once

#include "Database/DatabaseManager.h"

#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Mcp {

class McpServer {
public:
    using DatabaseOpener = std::function<std::shared_ptr<Database::DatabaseManager>()>;

    explicit McpServer(DatabaseOpener openDatabase, std::string version = "0");

    /// The answer to one line, or nothing (a notification, a blank line).
    std::optional<std::string> handleLine(std::string_view line);
    /// Answers lines from `in` until it ends.
    void serve(std::istream& in, std::ostream& out);

    /// Protocol versions we speak, newest first.
    static const std::vector<std::string>& protocolVersions();

private:
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

} // namespace Mcp
