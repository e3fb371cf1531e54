#include "Platform/Linux/CurlHttpClient.h"

#include "Support/Log.h"
#include "Support/MainLoop.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <thread>

namespace Platform {

namespace {

using SteadyClock = std::chrono::steady_clock;

const Support::Logger& logger() {
    static const Support::Logger log("http");
    return log;
}

struct Transfer {
    uint64_t id = 0;
    HttpRequest request;
    std::shared_ptr<HttpStreamHandlers> handlers; // null: collect the body
    Support::MainLoop* loop = nullptr;
    std::optional<Support::Continuation<HttpResponse>> continuation;

    // Main loop only: set when the awaiting task was cancelled, so that queued handlers are skipped.
    bool cancelledOnLoop = false;

    // Worker thread only.
    CURL* easy = nullptr;
    curl_slist* headerList = nullptr;
    std::array<char, CURL_ERROR_SIZE> errorText{};
    HttpResponse response;
    bool headDelivered = false;
    SteadyClock::time_point lastActivity;
    curl_off_t lastUploaded = 0;

    ~Transfer() {
        if (easy) {
            curl_easy_cleanup(easy);
        }
        if (headerList) {
            curl_slist_free_all(headerList);
        }
    }

    template <typename F> void onLoop(F f) {
        auto self = shared();
        loop->post([self, f = std::move(f)]() mutable {
            if (!self->cancelledOnLoop) {
                f(*self);
            }
        });
    }
    std::shared_ptr<Transfer> shared();
    std::weak_ptr<Transfer> weakSelf;
};

std::shared_ptr<Transfer> Transfer::shared() {
    return weakSelf.lock();
}

HttpTransportError transportError(CURLcode code, const char* detail) {
    using Kind = HttpTransportError::Kind;
    std::string why = detail && *detail ? detail : curl_easy_strerror(code);
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT:
    case CURLE_BAD_FUNCTION_ARGUMENT:
        return {Kind::invalidRequest, "The address could not be used (" + why + ")."};
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_CONNECT:
        return {Kind::cannotConnect, "Could not connect to the server (" + why + ")."};
    case CURLE_OPERATION_TIMEDOUT:
        return {Kind::timedOut, "The request timed out."};
    case CURLE_PARTIAL_FILE:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
    case CURLE_GOT_NOTHING:
    case CURLE_HTTP2:
    case CURLE_HTTP2_STREAM:
        return {Kind::connectionLost, "The network connection was lost (" + why + ")."};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
        return {Kind::secureConnection, "A secure connection to the server could not be made (" + why + ")."};
    default:
        return {Kind::other, "The request failed (" + why + ")."};
    }
}

size_t onHeader(char* data, size_t size, size_t count, void* user) {
    auto& t = *static_cast<Transfer*>(user);
    const size_t length = size * count;
    t.lastActivity = SteadyClock::now();
    std::string_view line(data, length);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
        line.remove_suffix(1);
    }
    if (line.starts_with("HTTP/")) {
        // A new response begins (after a redirect or an interim 1xx): forget the previous one's fields.
        t.response.headers.clear();
        auto space = line.find(' ');
        int status = 0;
        if (space != std::string_view::npos) {
            auto digits = line.substr(space + 1, 3);
            std::from_chars(digits.data(), digits.data() + digits.size(), status);
        }
        t.response.status = status;
    } else if (auto colon = line.find(':'); colon != std::string_view::npos) {
        auto value = line.substr(colon + 1);
        while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) {
            value.remove_prefix(1);
        }
        while (!value.empty() && (value.back() == ' ' || value.back() == '\t')) {
            value.remove_suffix(1);
        }
        t.response.headers.emplace_back(std::string(line.substr(0, colon)), std::string(value));
    }
    return length;
}

void deliverHead(Transfer& t) {
    if (t.headDelivered || !t.handlers) {
        return;
    }
    t.headDelivered = true;
    if (t.handlers->onResponse) {
        t.onLoop([head = HttpResponse{t.response.status, t.response.headers, {}}](Transfer& self) {
            self.handlers->onResponse(head);
        });
    }
}

size_t onBody(char* data, size_t size, size_t count, void* user) {
    auto& t = *static_cast<Transfer*>(user);
    const size_t length = size * count;
    t.lastActivity = SteadyClock::now();
    if (!t.handlers) {
        t.response.body.append(data, length);
        return length;
    }
    deliverHead(t);
    if (t.handlers->onChunk && length > 0) {
        t.onLoop([chunk = std::string(data, length)](Transfer& self) { self.handlers->onChunk(chunk); });
    }
    return length;
}

int onProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t uploaded) {
    auto& t = *static_cast<Transfer*>(user);
    if (uploaded != t.lastUploaded) {
        t.lastUploaded = uploaded;
        t.lastActivity = SteadyClock::now();
    }
    return 0;
}

std::optional<HttpTransportError> configure(Transfer& t) {
    using Kind = HttpTransportError::Kind;
    const auto& r = t.request;
    if (r.method.empty() || r.method.find_first_of(" \r\n") != std::string::npos) {
        return HttpTransportError(Kind::invalidRequest,
                                  "The request method \"" + r.method + "\" is not valid.");
    }
    t.easy = curl_easy_init();
    if (!t.easy) {
        return HttpTransportError(Kind::other, "The request could not be prepared.");
    }
    CURL* e = t.easy;
    const long timeoutMs = std::max<long>(1, static_cast<long>(r.timeout.count() / 1000));
    curl_easy_setopt(e, CURLOPT_URL, r.url.c_str());
    curl_easy_setopt(e, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(e, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(e, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(e, CURLOPT_MAXREDIRS, 10L);
    if (!t.handlers) {
        // A compressed stream reaches us only when the server's compressor flushes, which can be at the very
        // end: streams go uncompressed.
        curl_easy_setopt(e, CURLOPT_ACCEPT_ENCODING, "");
    }
    curl_easy_setopt(e, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(e, CURLOPT_CONNECTTIMEOUT_MS, timeoutMs);
    curl_easy_setopt(e, CURLOPT_ERRORBUFFER, t.errorText.data());
    curl_easy_setopt(e, CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(e, CURLOPT_HEADERDATA, &t);
    curl_easy_setopt(e, CURLOPT_WRITEFUNCTION, &onBody);
    curl_easy_setopt(e, CURLOPT_WRITEDATA, &t);
    curl_easy_setopt(e, CURLOPT_XFERINFOFUNCTION, &onProgress);
    curl_easy_setopt(e, CURLOPT_XFERINFODATA, &t);
    curl_easy_setopt(e, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(e, CURLOPT_PRIVATE, &t);

    if (r.method == "GET") {
        curl_easy_setopt(e, CURLOPT_HTTPGET, 1L);
    } else if (r.method == "HEAD") {
        curl_easy_setopt(e, CURLOPT_NOBODY, 1L);
    } else if (r.method != "POST") {
        curl_easy_setopt(e, CURLOPT_CUSTOMREQUEST, r.method.c_str());
    }
    if (!r.body.empty() || r.method == "POST") {
        curl_easy_setopt(e, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(r.body.size()));
        curl_easy_setopt(e, CURLOPT_POSTFIELDS, r.body.data());
    }
    for (const auto& [name, value] : r.headers) {
        if (name.find_first_of(":\r\n") != std::string::npos ||
            value.find_first_of("\r\n") != std::string::npos) {
            return HttpTransportError(Kind::invalidRequest,
                                      "The header field \"" + name + "\" is not valid.");
        }
        // "Name;" is curl's way of sending a header with an empty value.
        auto line = value.empty() ? name + ";" : name + ": " + value;
        t.headerList = curl_slist_append(t.headerList, line.c_str());
    }
    // Without this curl waits a second for "100 Continue" before sending larger bodies.
    t.headerList = curl_slist_append(t.headerList, "Expect:");
    curl_easy_setopt(e, CURLOPT_HTTPHEADER, t.headerList);
    t.lastActivity = SteadyClock::now();
    return std::nullopt;
}

/// A failure made on the transfer thread, as an exception for the loop. Thrown and caught rather than
/// std::make_exception_ptr, which copies its argument: the copy would share the message's buffer with one
/// this thread lets go of later, behind reference counting ThreadSanitizer cannot see.
std::exception_ptr handOver(HttpTransportError&& error) {
    try {
        throw std::move(error);
    } catch (...) {
        return std::current_exception();
    }
}

} // namespace

struct CurlHttpClient::Worker {
    std::mutex mutex;
    std::deque<std::shared_ptr<Transfer>> toAdd;
    std::vector<uint64_t> toCancel;
    bool stopping = false;
    uint64_t nextId = 1;
    std::atomic<size_t> running{0};

    CURLM* multi = nullptr;
    std::thread thread;
    std::map<CURL*, std::shared_ptr<Transfer>> active; // worker thread only

    Worker() {
        static std::once_flag once;
        std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
        multi = curl_multi_init();
        thread = std::thread([this] { run(); });
    }
    ~Worker() {
        stop();
        curl_multi_cleanup(multi);
    }
    void stop() {
        {
            std::lock_guard lock(mutex);
            stopping = true;
        }
        curl_multi_wakeup(multi);
        if (thread.joinable()) {
            thread.join();
        }
    }

    void submit(const std::shared_ptr<Transfer>& t) {
        {
            std::lock_guard lock(mutex);
            if (stopping) {
                t->continuation->fail(std::make_exception_ptr(
                    HttpTransportError(HttpTransportError::Kind::other, "The HTTP client has stopped.")));
                return;
            }
            ++running;
            toAdd.push_back(t);
        }
        curl_multi_wakeup(multi);
    }
    void cancel(uint64_t id) {
        {
            std::lock_guard lock(mutex);
            toCancel.push_back(id);
        }
        curl_multi_wakeup(multi);
    }

    void finish(CURL* easy, std::optional<HttpTransportError> error) {
        auto it = active.find(easy);
        if (it == active.end()) {
            return;
        }
        auto t = it->second;
        active.erase(it);
        curl_multi_remove_handle(multi, easy);
        --running;
        // From this thread, the continuation's references go to the loop with the result: the awaiting task
        // is never destroyed here.
        if (error) {
            std::move(*t->continuation).failAndRelease(handOver(std::move(*error)));
            return;
        }
        deliverHead(*t);
        HttpResponse result =
            t->handlers ? HttpResponse{t->response.status, t->response.headers, {}} : std::move(t->response);
        std::move(*t->continuation).resumeAndRelease(std::move(result));
    }

    void run() {
        for (;;) {
            std::deque<std::shared_ptr<Transfer>> adding;
            std::vector<uint64_t> cancelling;
            {
                std::lock_guard lock(mutex);
                if (stopping) {
                    break;
                }
                adding.swap(toAdd);
                cancelling.swap(toCancel);
            }
            for (auto& t : adding) {
                if (auto error = configure(*t)) {
                    --running;
                    std::move(*t->continuation).failAndRelease(handOver(std::move(*error)));
                    continue;
                }
                active.emplace(t->easy, t);
                curl_multi_add_handle(multi, t->easy);
            }
            for (auto id : cancelling) {
                for (auto it = active.begin(); it != active.end(); ++it) {
                    if (it->second->id == id) {
                        curl_multi_remove_handle(multi, it->first);
                        active.erase(it);
                        --running;
                        break;
                    }
                }
            }

            int stillRunning = 0;
            curl_multi_perform(multi, &stillRunning);
            int queued = 0;
            while (CURLMsg* message = curl_multi_info_read(multi, &queued)) {
                if (message->msg != CURLMSG_DONE) {
                    continue;
                }
                auto it = active.find(message->easy_handle);
                if (it == active.end()) {
                    continue;
                }
                const CURLcode code = message->data.result;
                if (code == CURLE_OK) {
                    finish(message->easy_handle, std::nullopt);
                } else {
                    finish(message->easy_handle, transportError(code, it->second->errorText.data()));
                }
            }

            // The inactivity limit is ours: curl's own limits are either total (which would cut a long
            // stream) or measured in whole seconds.
            const auto now = SteadyClock::now();
            auto nextDeadline = now + std::chrono::milliseconds(200);
            std::vector<CURL*> expired;
            for (auto& [easy, t] : active) {
                auto deadline =
                    t->lastActivity + std::chrono::duration_cast<SteadyClock::duration>(t->request.timeout);
                if (deadline <= now) {
                    expired.push_back(easy);
                } else {
                    nextDeadline = std::min(nextDeadline, deadline);
                }
            }
            for (auto* easy : expired) {
                finish(easy,
                       HttpTransportError(HttpTransportError::Kind::timedOut, "The request timed out."));
            }
            // With nothing in flight the thread sleeps until a request or stop wakes it (an idle host must
            // not wake up five times a second); otherwise it checks the limits at least every 200 ms.
            const auto waitMs =
                active.empty()
                    ? 3'600'000LL
                    : std::chrono::duration_cast<std::chrono::milliseconds>(nextDeadline - now).count();
            curl_multi_poll(multi, nullptr, 0, static_cast<int>(std::max<long long>(1, waitMs)), nullptr);
        }

        for (auto& [easy, t] : active) {
            curl_multi_remove_handle(multi, easy);
            std::move(*t->continuation)
                .failAndRelease(std::make_exception_ptr(
                    HttpTransportError(HttpTransportError::Kind::other, "The HTTP client has stopped.")));
        }
        active.clear();
        for (auto& t : toAdd) {
            std::move(*t->continuation)
                .failAndRelease(std::make_exception_ptr(
                    HttpTransportError(HttpTransportError::Kind::other, "The HTTP client has stopped.")));
        }
        toAdd.clear();
        running = 0;
    }
};

CurlHttpClient::CurlHttpClient() = default;
CurlHttpClient::~CurlHttpClient() {
    if (worker_) {
        worker_->stop();
    }
}

size_t CurlHttpClient::activeTransfers() const {
    return worker_ ? worker_->running.load() : 0;
}

Support::Task<HttpResponse> CurlHttpClient::send(HttpRequest request) {
    return perform(std::move(request), nullptr);
}

Support::Task<HttpResponse> CurlHttpClient::stream(HttpRequest request, HttpStreamHandlers handlers) {
    return perform(std::move(request), std::make_shared<HttpStreamHandlers>(std::move(handlers)));
}

Support::Task<HttpResponse> CurlHttpClient::perform(HttpRequest request,
                                                    std::shared_ptr<HttpStreamHandlers> handlers) {
    if (!worker_) {
        worker_ = std::make_shared<Worker>();
    }
    auto worker = worker_;
    auto t = std::make_shared<Transfer>();
    t->weakSelf = t;
    t->request = std::move(request);
    t->handlers = std::move(handlers);
    t->loop = &Support::MainLoop::current();
    {
        std::lock_guard lock(worker->mutex);
        t->id = worker->nextId++;
    }
    logger().debug("{} {}", t->request.method, t->request.url);
    // Named locals, not temporaries inside the co_await expression: g++ 12 destroys such temporaries twice.
    std::function<void(Support::Continuation<HttpResponse>)> start =
        [worker, t](Support::Continuation<HttpResponse> c) {
            t->continuation.emplace(c);
            worker->submit(t);
        };
    std::function<void()> onCancel = [worker, t] {
        t->cancelledOnLoop = true;
        worker->cancel(t->id);
    };
    auto transfer = Support::withContinuation<HttpResponse>(std::move(start), std::move(onCancel));
    co_return co_await transfer;
}

} // namespace Platform
