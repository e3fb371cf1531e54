// httplib.h must come before anything that pulls in X11 headers.
#include "Fakes/LoopbackServer.h"

#include "Platform/Linux/CurlHttpClient.h"
#include "Support/MainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace std::chrono_literals;
using Platform::HttpRequest;
using Platform::HttpResponse;
using Platform::HttpTransportError;

namespace {

using Fakes::LoopbackServer;

/// Runs the loop until `task` is done (bounded, so a broken client fails the test instead of hanging it).
template <typename T> void runUntilDone(Support::MainLoop& loop, const Support::Task<T>& task) {
    const auto giveUp = std::chrono::steady_clock::now() + 10s;
    while (!task.isDone() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    ASSERT_TRUE(task.isDone()) << "the transfer never finished";
}

template <typename Predicate> bool runUntil(Support::MainLoop& loop, Predicate done) {
    const auto giveUp = std::chrono::steady_clock::now() + 10s;
    while (!done() && std::chrono::steady_clock::now() < giveUp) {
        loop.runOne(20);
    }
    return done();
}

HttpTransportError::Kind failureKind(const Support::Task<HttpResponse>& task) {
    try {
        task.get();
    } catch (const HttpTransportError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "the transfer did not fail with a transport error";
    return HttpTransportError::Kind::other;
}

class CurlHttpClientTest : public testing::Test {
protected:
    Support::MainLoop loop;
    LoopbackServer server;
    Platform::CurlHttpClient client;
};

TEST_F(CurlHttpClientTest, ReturnsEveryStatusAsAResponseWithItsHeadersAndBody) {
    server.server.Get(R"(/status/(\d+))", [](const httplib::Request& req, httplib::Response& res) {
        res.status = std::stoi(req.matches[1]);
        res.set_header("X-Request-Id", "abc-123");
        if (res.status != 204) {
            res.set_content("status " + std::string(req.matches[1]), "text/plain");
        }
    });
    server.start();

    for (int status : {200, 204, 404, 413, 500}) {
        auto task = client.send({.url = server.url("/status/" + std::to_string(status))});
        runUntilDone(loop, task);
        auto response = task.get();
        EXPECT_EQ(response.status, status);
        EXPECT_EQ(response.isSuccess(), status < 300);
        EXPECT_EQ(response.header("x-request-id").value_or(""), "abc-123")
            << "header names are case-insensitive";
        EXPECT_EQ(response.body, status == 204 ? "" : "status " + std::to_string(status));
    }
}

TEST_F(CurlHttpClientTest, SendsTheMethodHeadersAndBodyGiven) {
    server.server.Post("/echo", [](const httplib::Request& req, httplib::Response& res) {
        res.set_content(req.method + "|" + req.get_header_value("Authorization") + "|" + req.body,
                        "text/plain");
    });
    server.server.Put("/echo", [](const httplib::Request& req, httplib::Response& res) {
        res.set_content(req.method + "|" + req.body, "text/plain");
    });
    server.start();

    auto post = client.send({.method = "POST",
                             .url = server.url("/echo"),
                             .headers = {{"Authorization", "Bearer k"}, {"Content-Type", "application/json"}},
                             .body = R"({"a":1})"});
    runUntilDone(loop, post);
    EXPECT_EQ(post.get().body, R"(POST|Bearer k|{"a":1})");

    auto put = client.send({.method = "PUT", .url = server.url("/echo"), .body = "x"});
    runUntilDone(loop, put);
    EXPECT_EQ(put.get().body, "PUT|x");
}

TEST_F(CurlHttpClientTest, FollowsRedirectsAndReportsTheFinalResponse) {
    server.server.Get("/old",
                      [](const httplib::Request&, httplib::Response& res) { res.set_redirect("/new"); });
    server.server.Get("/new", [](const httplib::Request&, httplib::Response& res) {
        res.set_header("X-Final", "yes");
        res.set_content("moved here", "text/plain");
    });
    server.start();

    auto task = client.send({.url = server.url("/old")});
    runUntilDone(loop, task);
    auto response = task.get();
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.header("X-Final").value_or(""), "yes");
    EXPECT_FALSE(response.header("Location").has_value()) << "the redirect's own fields are dropped";
    EXPECT_EQ(response.body, "moved here");
}

TEST_F(CurlHttpClientTest, GivesUpOnASilentServerAfterTheTimeout) {
    server.server.Get("/silent", [this](const httplib::Request&, httplib::Response& res) {
        server.waitForRelease();
        res.set_content("too late", "text/plain");
    });
    server.start();

    auto task = client.send({.url = server.url("/silent"), .timeout = Support::seconds(0.2)});
    runUntilDone(loop, task);
    EXPECT_EQ(failureKind(task), HttpTransportError::Kind::timedOut);
}

TEST_F(CurlHttpClientTest, KeepsAStreamThatKeepsTalkingPastTheTimeout) {
    server.server.Get("/slow", [](const httplib::Request&, httplib::Response& res) {
        res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
            for (int i = 0; i < 6; ++i) {
                std::this_thread::sleep_for(60ms); // the server paces itself; the test never sleeps
                sink.write("x", 1);
            }
            sink.done();
            return true;
        });
    });
    server.start();

    std::string received;
    auto task = client.stream({.url = server.url("/slow"), .timeout = Support::seconds(0.2)},
                              {.onChunk = [&](const std::string& chunk) { received += chunk; }});
    runUntilDone(loop, task);
    EXPECT_EQ(task.get().status, 200);
    EXPECT_EQ(received, "xxxxxx");
}

TEST_F(CurlHttpClientTest, StreamsChunksInOrderAfterTheHeadAndBeforeCompletion) {
    server.server.Get("/events", [](const httplib::Request&, httplib::Response& res) {
        res.status = 201;
        res.set_chunked_content_provider("text/event-stream", [](size_t, httplib::DataSink& sink) {
            for (std::string piece : {"data: one\n\n", "data: two\n\n", "data: three\n\n"}) {
                sink.write(piece.data(), piece.size());
            }
            sink.done();
            return true;
        });
    });
    server.start();

    std::vector<std::string> events;
    auto task = client.stream({.url = server.url("/events")},
                              {.onResponse =
                                   [&](const HttpResponse& head) {
                                       events.push_back("head " + std::to_string(head.status) + " " +
                                                        head.header("Content-Type").value_or(""));
                                   },
                               .onChunk = [&](const std::string& chunk) { events.push_back(chunk); }});
    runUntilDone(loop, task);
    auto response = task.get();
    EXPECT_EQ(response.status, 201);
    EXPECT_TRUE(response.body.empty());
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.front(), "head 201 text/event-stream");
    std::string body;
    for (size_t i = 1; i < events.size(); ++i) {
        body += events[i];
    }
    EXPECT_EQ(body, "data: one\n\ndata: two\n\ndata: three\n\n");
}

TEST_F(CurlHttpClientTest, CancellingMidStreamStopsTheTransferAndTheHandlers) {
    std::atomic<bool> clientWentAway{false};
    server.server.Get("/endless", [&](const httplib::Request&, httplib::Response& res) {
        res.set_chunked_content_provider("text/plain", [&](size_t, httplib::DataSink& sink) {
            for (int i = 0; i < 500; ++i) {
                if (!sink.write("tick\n", 5) || !sink.is_writable()) {
                    clientWentAway = true;
                    return false;
                }
                std::this_thread::sleep_for(10ms);
            }
            sink.done();
            return true;
        });
    });
    server.start();

    int chunks = 0;
    auto task =
        client.stream({.url = server.url("/endless")}, {.onChunk = [&](const std::string&) { ++chunks; }});
    ASSERT_TRUE(runUntil(loop, [&] { return chunks > 0; }));
    task.cancel();
    const int chunksAtCancel = chunks;
    runUntilDone(loop, task);
    EXPECT_TRUE(task.wasCancelled());
    EXPECT_TRUE(runUntil(loop, [&] { return client.activeTransfers() == 0; }));
    EXPECT_TRUE(runUntil(loop, [&] { return clientWentAway.load(); })) << "the server still had a listener";
    loop.runUntilIdle();
    EXPECT_EQ(chunks, chunksAtCancel) << "no chunk handler runs after the cancellation";
}

TEST_F(CurlHttpClientTest, AServerThatClosesBeforeTheBodyEndsIsALostConnection) {
    server.server.Get("/short", [](const httplib::Request&, httplib::Response& res) {
        // Promises 100 bytes, sends 10, then drops the connection.
        res.set_content_provider(100, "text/plain", [](size_t, size_t, httplib::DataSink& sink) {
            sink.write("0123456789", 10);
            return false;
        });
    });
    server.server.Get("/short-stream", [](const httplib::Request&, httplib::Response& res) {
        res.set_chunked_content_provider("text/plain", [](size_t, httplib::DataSink& sink) {
            sink.write("partial", 7);
            return false; // no terminating chunk
        });
    });
    server.start();

    auto whole = client.send({.url = server.url("/short")});
    runUntilDone(loop, whole);
    EXPECT_EQ(failureKind(whole), HttpTransportError::Kind::connectionLost);

    std::string received;
    auto streamed = client.stream({.url = server.url("/short-stream")},
                                  {.onChunk = [&](const std::string& chunk) { received += chunk; }});
    runUntilDone(loop, streamed);
    EXPECT_EQ(failureKind(streamed), HttpTransportError::Kind::connectionLost);
    EXPECT_EQ(received, "partial") << "chunks delivered before the failure stay delivered";
}

TEST_F(CurlHttpClientTest, TellsTransportFailuresApartFromHttpStatuses) {
    server.start();
    // A port that was bound and released without listening: connections to it are refused.
    int closedPort = 0;
    {
        int fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        closedPort = ntohs(address.sin_port);
        ::close(fd);
    }
    struct Case {
        std::string url;
        HttpTransportError::Kind kind;
    };
    const std::vector<Case> cases = {
        {"http://127.0.0.1:" + std::to_string(closedPort) + "/", HttpTransportError::Kind::cannotConnect},
        {"ftp://127.0.0.1/file", HttpTransportError::Kind::invalidRequest},
        {"not a url", HttpTransportError::Kind::invalidRequest},
    };
    for (const auto& c : cases) {
        auto task = client.send({.url = c.url});
        runUntilDone(loop, task);
        EXPECT_EQ(failureKind(task), c.kind) << c.url;
    }

    auto badHeader = client.send({.url = server.url("/"), .headers = {{"X-Evil", "a\r\nInjected: 1"}}});
    runUntilDone(loop, badHeader);
    EXPECT_EQ(failureKind(badHeader), HttpTransportError::Kind::invalidRequest);
}

TEST_F(CurlHttpClientTest, RunsManyTransfersAtOnce) {
    server.server.Get(R"(/n/(\d+))", [](const httplib::Request& req, httplib::Response& res) {
        res.set_content(req.matches[1], "text/plain");
    });
    server.start();

    std::vector<Support::Task<HttpResponse>> tasks;
    for (int i = 0; i < 20; ++i) {
        tasks.push_back(client.send({.url = server.url("/n/" + std::to_string(i))}));
    }
    for (int i = 0; i < 20; ++i) {
        runUntilDone(loop, tasks[i]);
        EXPECT_EQ(tasks[i].get().body, std::to_string(i));
    }
}

} // namespace
