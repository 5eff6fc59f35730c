// The tuning page served by 'posteffect tune', driven in headless Chromium
// over WebDriver: the picture it shows must be what 'posteffect apply' makes
// from the parameter string it shows, as closely as the live JPEG allows.
#include <gtest/gtest.h>
#include <httplib.h>
#include <signal.h>
#include <unistd.h>
#include <zlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>

#include "ImageIO.h"
#include "TestEnv.h"

namespace pe::cli {
namespace {

using nlohmann::json;

// A child process, its stdout on a pipe, ended with this object; the shell
// prints its pid and becomes the program.
struct Child {
  explicit Child(const std::string& command)
      : out(popen(("echo $$; exec " + command).c_str(), "r")), pid(std::atoi(After("").c_str())) {}
  ~Child() {
    if (pid > 0) kill(pid, SIGTERM);
    if (out) pclose(out);
  }
  // What follows word ("on port ", "http://") to the end of its output line.
  std::string After(const std::string& word) {
    char line[4096];
    while (out && std::fgets(line, sizeof(line), out))
      if (const char* at = std::strstr(line, word.c_str())) return at + word.size();
    return "";
  }
  FILE* out;
  pid_t pid;
};

// The tool serving the built-in chart on a free port, for both tests.
std::string ToolUrl() {
  static Child tool(std::string(PE_CLI_EXE) + " tune --port 0");
  static const std::string address = tool.After("http://127.0.0.1:");
  return "http://127.0.0.1:" + address.substr(0, address.find('/'));
}

// Driving the browser the way a user does: a click on an option, arrow keys
// on the slider, a pointer dragging a handle.
TEST(TunePage, ShowsWhatApplyMakesFromTheStringItShows) {
  Child driver("/usr/bin/chromedriver --port=0");
  httplib::Client wd("127.0.0.1", std::atoi(driver.After("started successfully on port ").c_str()));
  wd.set_read_timeout(120);
  std::string session;
  const auto call = [&](const std::string& path, const json& body) {
    const std::string p = "/session" + (session.empty() ? "" : "/" + session) + path;
    auto r = wd.Post(p.c_str(), body.dump(), "application/json");
    EXPECT_TRUE(r && r->status == 200) << p << ": " << (r ? r->body : "no answer");
    return r ? json::parse(r->body)["value"] : json();
  };
  const test::TempDir dir;
  json caps;
  caps["capabilities"]["alwaysMatch"]["goog:chromeOptions"] = {
      {"binary", "/usr/bin/chromium"},
      {"args",
       {"--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
        "--disable-background-networking", "--disable-component-update", "--disable-sync",
        "--window-size=1700,900", "--force-color-profile=srgb",
        std::string("--user-data-dir=") + dir.path()}}};
  session = call("", caps)["sessionId"].get<std::string>();
  ASSERT_FALSE(session.empty()) << "no Chromium session: is chromium installed?";
  const auto run = [&](const std::string& script) {
    return call("/execute/sync", {{"script", script}, {"args", json::array()}});
  };
  const auto element = [&](const std::string& css) {
    return call("/element", {{"using", "css selector"}, {"value", css}});
  };
  const auto waitIdle = [&] {
    for (int i = 0; i < 600 && run("return document.body.dataset.state") != "idle"; ++i)
      usleep(100000);
    return run("return document.body.dataset.state + ' ' + "
               "document.getElementById('status').textContent")
        .get<std::string>();
  };

  call("/url", {{"url", ToolUrl() + "/"}});
  ASSERT_EQ(waitIdle().substr(0, 4), "idle");
  const auto id = [&](const char* css) { return element(css).begin()->get<std::string>(); };
  call("/element/" + id("#effect option[value='3']") + "/click", json::object());
  call("/element/" + id("#param0") + "/value", {{"text", "\ue012\ue012\ue012"}});  // 3 steps left
  json drag = json::parse(R"({"actions": [{"type": "pointer", "id": "mouse", "actions": [
      {"type": "pointerMove", "duration": 0, "x": 0, "y": 0},
      {"type": "pointerDown", "button": 0},
      {"type": "pointerMove", "duration": 200, "origin": "pointer", "x": -120, "y": -70},
      {"type": "pointerUp", "button": 0}]}]})");
  drag["actions"][0]["actions"][0]["origin"] = element("#centre");
  call("/actions", drag);
  ASSERT_EQ(waitIdle().substr(0, 4), "idle");

  const std::string shown = run("return document.getElementById('paramString').value");
  EXPECT_EQ(shown.rfind("GPU-effect=3;GE-param0=57,0,0,0;GE-param1=", 0), 0u) << shown;
  EXPECT_EQ(shown.find("GE-param1=960,540"), std::string::npos) << "the centre did not move";
  // What the page shows: its size and the RGB of every 4th pixel of every 4th row.
  const json page = run(R"(
      const img = document.getElementById('after'), c = document.createElement('canvas');
      [c.width, c.height] = [img.naturalWidth, img.naturalHeight];
      c.getContext('2d').drawImage(img, 0, 0);
      const d = c.getContext('2d').getImageData(0, 0, c.width, c.height).data, rgb = [];
      for (let y = 0; y < c.height; y += 4)
        for (let x = 0; x < c.width; x += 4)
          for (let k = 0; k < 3; ++k) rgb.push(d[(y * c.width + x) * 4 + k]);
      return [c.width, c.height, rgb];)");

  // The string as a camera configuration holds it, handed to apply.
  std::string cmd = std::string(PE_CLI_EXE) + " apply " + shown + " " + dir.File("apply.png");
  const std::pair<const char*, const char*> kOptions[] = {
      {"GPU-effect=", "--effect "}, {";GE-param0=", " --param0 "}, {";GE-param1=", " --param1 "}};
  for (const auto& [key, option] : kOptions) cmd.replace(cmd.find(key), std::strlen(key), option);
  ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
  RgbImage expected;
  std::string error;
  ASSERT_TRUE(ReadPng(dir.File("apply.png"), &expected, &error)) << error;
  ASSERT_EQ(page[0].get<int>() * 10000 + page[1].get<int>(),
            expected.width * 10000 + expected.height);
  const std::vector<int> rgb = page[2].get<std::vector<int>>();
  double sq = 0;
  size_t i = 0;
  for (int y = 0; y < expected.height; y += 4)
    for (int x = 0; x < expected.width; x += 4)
      for (int k = 0; k < 3; ++k, ++i) sq += std::pow(rgb.at(i) - expected.At(x, y)[k], 2.0);
  // Other settings differ by far more: a moved centre or another strength
  // falls below 25 dB on the chart.
  EXPECT_GT(10 * std::log10(255.0 * 255.0 * i / sq), 32.0) << cmd;
  wd.Delete(("/session/" + session).c_str());
}

// Each refused with a 4xx naming the value, and the next good request served.
TEST(TunePage, RefusesHostileRequestsAndGoesOn) {
  std::vector<uint8_t> png;
  std::string error;
  ASSERT_TRUE(EncodePng(RgbImage(64, 64), false, {}, &png, &error));
  std::string huge(png.begin(), png.end());
  huge.replace(16, 8, std::string("\0\1\x86\xa0\0\1\x86\xa0", 8));  // 100000 x 100000
  const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(huge.data() + 12), 17);
  for (int i = 0; i < 4; ++i) huge[29 + i] = static_cast<char>(crc >> (24 - 8 * i));
  // Path, body (POSTed when not empty), status, what the answer names.
  const std::tuple<const char*, std::string, int, const char*> kCases[] = {
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
  httplib::Client http(ToolUrl());
  for (const auto& [path, body, status, named] : kCases) {
    auto r = body.empty() ? http.Get(path) : http.Post(path, body, "application/octet-stream");
    ASSERT_TRUE(r) << path;
    EXPECT_EQ(r->status, status) << path << ": " << r->body;
    EXPECT_NE(r->body.find(named), std::string::npos) << path << ": " << r->body;
    auto good = http.Get("/api/render?effect=4&param0=70");
    ASSERT_TRUE(good) << "no answer after " << path;
    EXPECT_EQ(good->status, 200) << path;
  }
}

}  // namespace
}  // namespace pe::cli
