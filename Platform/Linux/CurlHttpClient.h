// The HttpClient of the Linux host: libcurl's multi interface driven by one worker thread, so that no
// transfer ever blocks the main loop. Results, header fields and streamed chunks come back to the main loop
// of the task that started the transfer.
//
// Redirects are followed (up to ten), compressed bodies are decoded, and TLS uses the system's certificate
// store. Destroying the client stops its thread; transfers still running then fail with `other`. The thread,
// and libcurl's and its TLS library's set-up, start with the first transfer: a host that has sent nothing
// holds neither. A client is used from one thread (its main loop's).
#pragma once

#include "Platform/HttpClient.h"

#include <memory>

namespace Platform {

class CurlHttpClient final : public HttpClient {
public:
    CurlHttpClient();
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    Support::Task<HttpResponse> send(HttpRequest request) override;
    Support::Task<HttpResponse> stream(HttpRequest request, HttpStreamHandlers handlers) override;

    /// Transfers started and not yet finished (tests check that a cancelled transfer really stopped).
    size_t activeTransfers() const;

    struct Worker;

private:
    Support::Task<HttpResponse> perform(HttpRequest request, std::shared_ptr<HttpStreamHandlers> handlers);
    std::shared_ptr<Worker> worker_;
};

} // namespace Platform
