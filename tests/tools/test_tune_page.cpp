// The tuning page served by 'posteffect tune', driven in headless Chromium
// over WebDriver: the picture it shows must be, pixel for pixel, what
// 'posteffect apply' makes from the parameter string it shows.
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <thread>

#include "ImageIO.h"

extern char** environ;

namespace pe::cli {
namespace {

using nlohmann::json;

// A child process with its stdout on a pipe, ended with this object.
struct Child {
  explicit Child(std::vector<std::string> args) {
    int fds[2];
    EXPECT_EQ(pipe(fds), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0) << args[0];
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    out = fds[0];
  }
  ~Child() {
    if (pid > 0 && kill(pid, SIGTERM) == 0) waitpid(pid, nullptr, 0);
    close(out);
  }
  std::string ReadLine() {
    std::string line;
    char c;
    pollfd p{out, POLLIN, 0};
    while (poll(&p, 1, 30000) == 1 && read(out, &c, 1) == 1 && c != '\n') line += c;
    return line;
  }
  pid_t pid = -1;
  int out = -1;
};

int FreePort() {
  const int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t n = sizeof a;
  bind(s, reinterpret_cast<sockaddr*>(&a), n);
  getsockname(s, reinterpret_cast<sockaddr*>(&a), &n);
  close(s);
  return ntohs(a.sin_port);
}

std::string Base64Decode(const std::string& in) {
  std::string out;
  int bits = 0, value = 0;
  for (char c : in) {
    const char* p =
        std::strchr("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", c);
    if (c == '=' || !p) break;
    value =
        value << 6 |
        static_cast<int>(p - "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    if ((bits += 6) >= 8) out += static_cast<char>(value >> (bits -= 8) & 0xFF);
  }
  return out;
}

// The tool serving the built-in chart on a free port.
class TunePage : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    tool = new Child({PE_CLI_EXE, "tune", "--port", "0"});
    const std::string line = tool->ReadLine();
    url = line.substr(line.find("http://"));
    ASSERT_EQ(url.rfind("http://127.0.0.1:", 0), 0u) << line;
    url.pop_back();  // the trailing '/'
  }
  static void TearDownTestSuite() { delete tool; }
  static Child* tool;
  static std::string url;
};
Child* TunePage::tool;
std::string TunePage::url;

// Driving the browser the way a user does: a click on an option, arrow keys
// on the slider, a pointer dragging a handle.
TEST_F(TunePage, ShowsWhatApplyMakesFromTheStringItShows) {
  const int port = FreePort();
  Child driver({"/usr/bin/chromedriver", "--port=" + std::to_string(port)});
  httplib::Client wd("127.0.0.1", port);
  wd.set_read_timeout(120);
  for (int i = 0; i < 100 && !wd.Get("/status"); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  std::string session;
  const auto call = [&](const char* method, const std::string& path, const json& body) {
    const std::string p = "/session" + (session.empty() ? "" : "/" + session) + path;
    auto r = std::string(method) == "GET" ? wd.Get(p.c_str())
                                          : wd.Post(p.c_str(), body.dump(), "application/json");
    EXPECT_TRUE(r && r->status == 200) << method << " " << p << ": " << (r ? r->body : "no answer");
    return r ? json::parse(r->body)["value"] : json();
  };
  char dir[] = "/tmp/pe-chromium-XXXXXX";
  ASSERT_TRUE(mkdtemp(dir));
  const json args = {"--headless",
                     "--no-sandbox",
                     "--disable-gpu",
                     "--disable-quic",
                     "--no-first-run",
                     "--disable-background-networking",
                     "--disable-component-update",
                     "--disable-sync",
                     "--window-size=1700,900",
                     "--force-color-profile=srgb",
                     std::string("--user-data-dir=") + dir};
  session = call("POST", "",
                 {{"capabilities",
                   {{"alwaysMatch",
                     {{"goog:chromeOptions",
                       {{"binary", "/usr/bin/chromium"}, {"args", args}}}}}}}})["sessionId"]
                .get<std::string>();
  ASSERT_FALSE(session.empty()) << "no Chromium session: is chromium installed?";
  const auto run = [&](const std::string& script) {
    return call("POST", "/execute/sync", {{"script", script}, {"args", json::array()}});
  };
  const auto find = [&](const std::string& css) {
    return call("POST", "/element", {{"using", "css selector"}, {"value", css}}).begin().value();
  };
  const auto waitIdle = [&] {
    for (int i = 0; i < 600 && run("return document.body.dataset.state") != "idle"; ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return run(
        "return document.body.dataset.state + ': ' + document.getElementById('status')"
        ".textContent");
  };

  call("POST", "/url", {{"url", url + "/"}});
  ASSERT_EQ(waitIdle().get<std::string>().substr(0, 4), "idle");
  call("POST", "/element/" + find("#effect option[value='2']").get<std::string>() + "/click",
       json::object());
  call("POST", "/element/" + find("#param0").get<std::string>() + "/value",
       {{"text", "\ue012\ue012\ue012"}});  // three steps left
  const json centre = call("POST", "/element", {{"using", "css selector"}, {"value", "#centre"}});
  const json pointer = {
      {"type", "pointer"},
      {"id", "mouse"},
      {"actions",
       {{{"type", "pointerMove"}, {"duration", 0}, {"origin", centre}, {"x", 0}, {"y", 0}},
        {{"type", "pointerDown"}, {"button", 0}},
        {{"type", "pointerMove"},
         {"duration", 200},
         {"origin", "pointer"},
         {"x", -120},
         {"y", -70}},
        {{"type", "pointerUp"}, {"button", 0}}}}};
  call("POST", "/actions", {{"actions", {pointer}}});
  ASSERT_EQ(waitIdle().get<std::string>().substr(0, 4), "idle");

  const std::string shown = run("return document.getElementById('paramString').value");
  EXPECT_EQ(shown.rfind("GPU-effect=2;GE-param0=97,0,0,0;GE-param1=", 0), 0u) << shown;
  EXPECT_EQ(shown.find("GE-param1=960,540"), std::string::npos) << "the centre did not move";
  const std::string pixels = Base64Decode(run(R"(
      const img = document.getElementById('after');
      const c = document.createElement('canvas');
      c.width = img.naturalWidth; c.height = img.naturalHeight;
      const g = c.getContext('2d');
      g.drawImage(img, 0, 0);
      const d = g.getImageData(0, 0, c.width, c.height).data;
      let s = '';
      for (let i = 0; i < d.length; i += 8192) s += String.fromCharCode(...d.subarray(i, i + 8192));
      return btoa(s);)"));

  // The string as a camera configuration holds it, handed to apply.
  std::vector<std::string> values;
  for (size_t eq = shown.find('='); eq != std::string::npos; eq = shown.find('=', eq + 1))
    values.push_back(shown.substr(eq + 1, shown.find(';', eq) - eq - 1));
  ASSERT_EQ(values.size(), 3u) << shown;
  const std::string out = std::string(dir) + "/apply.png";
  const std::string cmd = std::string(PE_CLI_EXE) + " apply --effect " + values[0] + " --param0 " +
                          values[1] + " --param1 " + values[2] + " " + out;
  ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
  RgbImage expected;
  std::string error;
  ASSERT_TRUE(ReadPng(out, &expected, &error)) << error;
  ASSERT_EQ(pixels.size(), expected.rgb.size() / 3 * 4);
  size_t differ = 0;
  for (size_t i = 0; i < expected.rgb.size() / 3; ++i)
    for (int c = 0; c < 3; ++c)
      differ += static_cast<uint8_t>(pixels[i * 4 + c]) != expected.rgb[i * 3 + c];
  EXPECT_EQ(differ, 0u) << "of " << expected.rgb.size() << " values differ from " << cmd;

  const std::string png = Base64Decode(call("GET", "/screenshot", nullptr));
  std::FILE* f = std::fopen(PE_TUNE_SCREENSHOT, "wb");
  ASSERT_TRUE(f && std::fwrite(png.data(), 1, png.size(), f) == png.size());
  std::fclose(f);
  wd.Delete(("/session/" + session).c_str());
  std::system(("rm -rf " + std::string(dir)).c_str());
}

// Each refused with a 4xx naming the value, and the next good request served.
TEST_F(TunePage, RefusesHostileRequestsAndGoesOn) {
  std::vector<uint8_t> png;
  std::string error;
  ASSERT_TRUE(EncodePng(RgbImage(64, 64), false, &png, &error));
  std::string huge(png.begin(), png.end());
  huge.replace(16, 8, std::string("\0\1\x86\xa0\0\1\x86\xa0", 8));  // 100000 x 100000
  const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(huge.data() + 12), 17);
  for (int i = 0; i < 4; ++i) huge[29 + i] = static_cast<char>(crc >> (24 - 8 * i));
  const struct {
    const char* path;
    std::string body;  // POSTed when not empty
    int status;
    const char* named;
  } kCases[] = {
      {"/api/render?effect=4&param0=5x", "", 400, "param0"},
      {"/api/render?effect=99", "", 400, "effect"},
      {"/api/render?effect=4&param1=0,0,99999,0", "", 400, "param1"},
      {"/api/render?effect=4&crop=0,0,100000,100000", "", 400, "crop"},
      {"/api/render?effect=4&mode=movie", "", 400, "mode"},
      {"/api/chart?size=100000x100000", " ", 400, "size"},
      {"/api/parse?string=GPU-effect%3DZ", "", 400, "GPU-effect"},
      {"/api/picture?name=notes.txt", "not a picture, just text", 415, "notes.txt"},
      {"/api/picture?name=cut.png", std::string(png.begin(), png.begin() + 60), 422, "cut.png"},
      {"/api/picture?name=huge.png", huge, 422, "100000x100000"},
  };
  httplib::Client http(url);
  for (const auto& c : kCases) {
    auto r =
        c.body.empty() ? http.Get(c.path) : http.Post(c.path, c.body, "application/octet-stream");
    ASSERT_TRUE(r) << c.path;
    EXPECT_EQ(r->status, c.status) << c.path << ": " << r->body;
    EXPECT_NE(r->body.find(c.named), std::string::npos) << c.path << ": " << r->body;
    auto good = http.Get("/api/render?effect=4&param0=70");
    ASSERT_TRUE(good) << "no answer after " << c.path;
    EXPECT_EQ(good->status, 200) << c.path;
  }
}

}  // namespace
}  // namespace pe::cli
