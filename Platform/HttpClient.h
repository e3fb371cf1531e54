// HTTP requests: the store's version lookup, AI provider key tests and streamed AI answers.
//
// `send` performs one request and yields the whole response; `stream` delivers the body piece by piece, on
// the main loop, as it arrives (server-sent events, streamed completions). Both are tasks: cancelling the
// returned task stops the transfer at once, no handler runs after the cancellation, and the await throws
// `Support::Cancelled`.
//
// Every answer the server gives is a response, whatever its status (a 404 or a 500 is not an error here):
// callers decide what a status means. Only a transfer that produced no complete HTTP answer throws, and it
// throws `HttpTransportError` (no connection, name not found, time-out, connection closed before the body
// was complete, TLS failure), so that a caller can tell "the server said no" from "we never heard back".
//
// `timeout` is an inactivity limit, like a browser's: the transfer fails with `timedOut` when no byte has
// been sent or received for that long (connecting included), so that a long stream that keeps talking is
// never cut while a silent server is given up on.
//
// Cancellation only reaches the transfer through the task `send` or `stream` returned. A caller whose own
// task may be cancelled while it waits, and whose handlers borrow from its frame, awaits through
// `Support::awaitOwned`, which passes the caller's cancellation on to the transfer.
#pragma once

#include "Support/Errors.h"
#include "Support/Task.h"
#include "Support/Time.h"

#include <cctype>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Platform {

/// Header fields in the order given or received; names compare case-insensitively.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

namespace detail {
inline bool headerNameEquals(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (size_t i = 0; i < a.size(); ++i) {
        if (std::tolower(static_cast<unsigned char>(a[i])) !=
            std::tolower(static_cast<unsigned char>(b[i]))) {
            return false;
        }
    }
    return true;
}
} // namespace detail

/// The first value of the header `name` (case-insensitive), or nothing.
inline std::optional<std::string> headerValue(const HttpHeaders& headers, std::string_view name) {
    for (const auto& [key, value] : headers) {
        if (detail::headerNameEquals(key, name)) {
            return value;
        }
    }
    return std::nullopt;
}

struct HttpRequest {
    std::string method = "GET";
    /// Absolute http or https address, query included and already percent-encoded.
    std::string url;
    HttpHeaders headers{};
    /// Sent as is when not empty (set a Content-Type header yourself).
    std::string body{};
    /// Inactivity limit; see the header comment.
    Support::Duration timeout = Support::seconds(60);
};

struct HttpResponse {
    /// The final status after redirects (which are followed).
    int status = 0;
    /// The final response's header fields.
    HttpHeaders headers{};
    /// The whole body for `send`; empty for `stream`, whose body went to the chunk handler.
    std::string body{};

    std::optional<std::string> header(std::string_view name) const { return headerValue(headers, name); }
    bool isSuccess() const { return status >= 200 && status < 300; }
};

/// No complete HTTP answer arrived. `description()` is a sentence a user can read.
class HttpTransportError : public Support::UserFacingError {
public:
    enum class Kind {
        invalidRequest,   ///< the address or method could not be used
        cannotConnect,    ///< name not found, connection refused, no route
        timedOut,         ///< nothing sent or received within the request's time-out
        connectionLost,   ///< the connection closed before the answer was complete
        secureConnection, ///< the TLS handshake or certificate check failed
        other,
    };
    HttpTransportError(Kind kind, const std::string& description)
        : Support::UserFacingError(description), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

/// Handlers of a streamed transfer; both run on the main loop, in order, before the task completes.
struct HttpStreamHandlers {
    /// Once, when the status and header fields of the final response have arrived (before any chunk).
    std::function<void(const HttpResponse& head)> onResponse{};
    /// Each piece of the body as it arrives (pieces split anywhere, even inside a UTF-8 sequence).
    std::function<void(const std::string& chunk)> onChunk{};
};

class HttpClient {
public:
    virtual ~HttpClient() = default;

    /// The whole response. Throws `HttpTransportError` or, when cancelled, `Support::Cancelled`.
    virtual Support::Task<HttpResponse> send(HttpRequest request) = 0;

    /// Streams the body to `handlers.onChunk` and yields the status and header fields (with an empty body)
    /// once the body is complete. Throws as `send` does; chunks delivered before a failure stay delivered.
    virtual Support::Task<HttpResponse> stream(HttpRequest request, HttpStreamHandlers handlers) = 0;
};

} // namespace Platform
