#include "client.h"

#include <future>

namespace net_test {

Client::Client(const trel_seam::Conf& conf)
    : http_(trel_seam::MakeHttp(conf)), thread_([this] { Work(); }) {}

Client::~Client() {
  {
    const std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void Client::Work() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return stopped_ || task_; });
    if (!task_) return;
    std::exchange(task_, nullptr)();
  }
}

void Client::Run(const std::function<void()>& task) {
  std::packaged_task<void()> packaged(task);
  auto result = packaged.get_future();
  {
    const std::lock_guard lock(mutex_);
    task_ = [&packaged] { packaged(); };
  }
  changed_.notify_one();
  result.get();
}

trel_seam::HttpReply Client::Post(const trel_seam::HttpPost& post) {
  trel_seam::HttpReply reply;
  Run([&] { reply = http_->Post(post); });
  return reply;
}

int Client::Get(const std::string& url, int timeout,
                const std::function<void(std::string_view)>& sink) {
  int status = 0;
  Run([&] { status = http_->Get(url, timeout, sink); });
  return status;
}

trel_seam::HttpReply Client::Post(const std::string& url, const std::string& body) {
  trel_seam::HttpPost post;
  post.url = url;
  post.body = body;
  return Post(post);
}

std::string Client::Get(const std::string& url, int timeout) {
  std::string text;
  Get(url, timeout, [&](std::string_view piece) { text += piece; });
  return text;
}

}  // namespace net_test
