// A language-model provider on a loopback port for tests: an OpenAI-compatible server and the Gemini API in
// one cpp-httplib server, streaming scripted answers as server-sent events. Each generation request takes
// the next script (or the default one); a script can answer with an error status, hold the stream after
// some fragments until the test releases it, or break the connection half-way. Every request is recorded.
//
// Include this before anything that pulls in X11 headers.
#pragma once

#include "LoopbackServer.h"
#include <nlohmann/json.hpp>

#include <atomic>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace Fakes {

class FakeAIProvider {
public:
    struct Script {
        std::vector<std::string> fragments{"Default answer"};
        int status = 200;
        /// The body of a non-200 answer.
        std::string errorBody{};
        /// Stop after this many fragments until `release()`.
        std::optional<size_t> holdAfter{};
        /// Close the connection after this many fragments, without ending the stream.
        std::optional<size_t> breakAfter{};
    };

    struct RecordedRequest {
        std::string method{};
        std::string path{};
        std::string query{};
        std::multimap<std::string, std::string> headers{};
        std::string body{};

        std::string header(const std::string& name) const {
            auto lower = [](std::string text) {
                for (auto& c : text) {
                    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
                }
                return text;
            };
            for (const auto& [k, v] : headers) {
                if (lower(k) == lower(name)) {
                    return v;
                }
            }
            return "";
        }
        nlohmann::json json() const { return nlohmann::json::parse(body, nullptr, false); }
    };

    FakeAIProvider() {
        loopback_.server.Post(R"(/v1/chat/completions)",
                              [this](const httplib::Request& req, httplib::Response& res) {
                                  record(req);
                                  answer(res, false);
                              });
        loopback_.server.Post(R"(/v1beta/models/([^/]+):streamGenerateContent)",
                              [this](const httplib::Request& req, httplib::Response& res) {
                                  record(req);
                                  answer(res, true);
                              });
        auto models = [this](const httplib::Request& req, httplib::Response& res) {
            record(req);
            std::lock_guard lock(mutex_);
            res.status = modelsStatus;
            res.set_content(modelsBody, "application/json");
        };
        loopback_.server.Get("/v1/models", models);
        loopback_.server.Get("/v1beta/models", models);
        loopback_.start();
    }
    ~FakeAIProvider() { release(); }

    std::string baseURL() const { return loopback_.base(); }

    void enqueue(Script script) {
        std::lock_guard lock(mutex_);
        scripts_.push_back(std::move(script));
    }
    void setDefault(Script script) {
        std::lock_guard lock(mutex_);
        default_ = std::move(script);
    }
    /// The answer of GET /v1/models and /v1beta/models.
    void setModelsAnswer(int status, std::string body) {
        std::lock_guard lock(mutex_);
        modelsStatus = status;
        modelsBody = std::move(body);
    }

    void release() {
        std::lock_guard lock(mutex_);
        released_ = true;
        releasedChanged_.notify_all();
    }
    /// Fragments written into held or finished streams so far.
    size_t fragmentsSent() const { return sent_.load(); }
    /// Streams whose client went away before the stream ended.
    size_t abandonedStreams() const { return abandoned_.load(); }
    /// Streams currently held.
    size_t heldStreams() const { return held_.load(); }

    std::vector<RecordedRequest> requests() const {
        std::lock_guard lock(mutex_);
        return requests_;
    }
    std::vector<RecordedRequest> generationRequests() const {
        std::vector<RecordedRequest> out{};
        for (auto& r : requests()) {
            if (r.method == "POST") {
                out.push_back(r);
            }
        }
        return out;
    }

    static std::string openAIEvent(const std::string& fragment) {
        nlohmann::json j = {{"choices", {{{"index", 0}, {"delta", {{"content", fragment}}}}}}};
        return "data: " + j.dump() + "\n\n";
    }
    static std::string geminiEvent(const std::string& fragment) {
        nlohmann::json j = {
            {"candidates", {{{"content", {{"role", "model"}, {"parts", {{{"text", fragment}}}}}}}}}};
        return "data: " + j.dump() + "\r\n\r\n";
    }

private:
    void record(const httplib::Request& req) {
        RecordedRequest r{req.method, req.path, {}, {}, req.body};
        for (const auto& [k, v] : req.params) {
            r.query += (r.query.empty() ? "" : "&") + k + "=" + v;
        }
        for (const auto& [k, v] : req.headers) {
            r.headers.emplace(k, v);
        }
        std::lock_guard lock(mutex_);
        requests_.push_back(std::move(r));
    }

    void answer(httplib::Response& res, bool gemini) {
        Script script{};
        {
            std::lock_guard lock(mutex_);
            if (!scripts_.empty()) {
                script = std::move(scripts_.front());
                scripts_.pop_front();
            } else {
                script = default_;
            }
        }
        if (script.status != 200) {
            res.status = script.status;
            res.set_content(script.errorBody, "application/json");
            return;
        }
        res.set_chunked_content_provider(
            "text/event-stream", [this, script, gemini](size_t, httplib::DataSink& sink) {
                for (size_t i = 0; i < script.fragments.size(); ++i) {
                    if (script.breakAfter && i == *script.breakAfter) {
                        return false;
                    }
                    if (script.holdAfter && i == *script.holdAfter) {
                        ++held_;
                        std::unique_lock lock(mutex_);
                        releasedChanged_.wait(lock, [this] { return released_; });
                        --held_;
                    }
                    const auto event =
                        gemini ? geminiEvent(script.fragments[i]) : openAIEvent(script.fragments[i]);
                    if (!sink.is_writable() || !sink.write(event.data(), event.size())) {
                        ++abandoned_;
                        return false;
                    }
                    ++sent_;
                }
                if (script.breakAfter && *script.breakAfter >= script.fragments.size()) {
                    return false;
                }
                if (!gemini) {
                    const std::string done = "data: [DONE]\n\n";
                    sink.write(done.data(), done.size());
                }
                sink.done();
                return true;
            });
    }

    mutable std::mutex mutex_{};
    std::condition_variable releasedChanged_{};
    bool released_ = false;
    std::deque<Script> scripts_{};
    Script default_{};
    std::vector<RecordedRequest> requests_{};
    int modelsStatus = 200;
    std::string modelsBody = R"({"data":[{"id":"test-model"}]})";
    std::atomic<size_t> sent_{0};
    std::atomic<size_t> abandoned_{0};
    std::atomic<size_t> held_{0};
    // Last, so that it stops (and its handlers end) before the state they use goes.
    LoopbackServer loopback_;
};

} // namespace Fakes
