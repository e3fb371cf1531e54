// A transcription server on a loopback port for tests: `POST /v1/audio/transcriptions` answered from a
// queue of scripted answers (status, body, header fields), every upload recorded with its form fields and
// the length of its audio. When the queue is empty it answers `defaultAnswer`.
//
// Include this before anything that pulls in X11 headers.
#pragma once

#include "LoopbackServer.h"

#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace Fakes {

class FakeTranscriptionServer {
public:
    struct Answer {
        int status = 200;
        std::string body;
        std::vector<std::pair<std::string, std::string>> headers{};
    };
    struct Upload {
        std::map<std::string, std::string> fields;
        std::string authorization;
        size_t audioBytes = 0;
        /// Seconds of 16 kHz mono 16-bit audio in the upload.
        double audioSeconds() const {
            return audioBytes > 44 ? static_cast<double>(audioBytes - 44) / 32000.0 : 0;
        }
    };

    FakeTranscriptionServer() {
        loopback_.server.Post("/v1/audio/transcriptions",
                              [this](const httplib::Request& req, httplib::Response& res) {
                                  Upload upload;
                                  for (const auto& [name, part] : req.files) {
                                      if (name == "file") {
                                          upload.audioBytes = part.content.size();
                                      } else {
                                          upload.fields[name] = part.content;
                                      }
                                  }
                                  upload.authorization = req.get_header_value("Authorization");
                                  Answer answer;
                                  {
                                      std::lock_guard lock(mutex_);
                                      uploads_.push_back(std::move(upload));
                                      if (!answers_.empty()) {
                                          answer = std::move(answers_.front());
                                          answers_.pop_front();
                                      } else {
                                          answer = defaultAnswer_;
                                      }
                                  }
                                  res.status = answer.status;
                                  for (const auto& [k, v] : answer.headers) {
                                      res.set_header(k, v);
                                  }
                                  res.set_content(answer.body, "application/json");
                              });
        loopback_.start();
    }

    std::string baseURL() const { return loopback_.base(); }

    void enqueue(Answer answer) {
        std::lock_guard lock(mutex_);
        answers_.push_back(std::move(answer));
    }
    void setDefault(Answer answer) {
        std::lock_guard lock(mutex_);
        defaultAnswer_ = std::move(answer);
    }
    std::vector<Upload> uploads() const {
        std::lock_guard lock(mutex_);
        return uploads_;
    }

private:
    mutable std::mutex mutex_;
    std::deque<Answer> answers_;
    Answer defaultAnswer_{200, R"({"text":"","segments":[]})"};
    std::vector<Upload> uploads_;
    // Last, so that it stops (and its handlers end) before the state they use goes.
    LoopbackServer loopback_;
};

} // namespace Fakes
