// Runs every transaction case of tests/data/cases as a test of its own,
// through the C API against the gateway simulator. tests/data/README.md
// says what each section asks of a runner; this one is the reference.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <vector>

#include "GatewaySim.h"
#include "MerchantTxn.h"
#include "RawListener.h"
#include "SessionStoreGuard.h"
#include "TestCertificates.h"
#include "TxnCase.h"
#include "testText.h"

namespace {

const char* const kOutcomeNames[] = {"NONE", "APPROVED", "DECLINED", "NO_DECISION", "UNKNOWN"};

class CaseRun : public testing::Test {
 public:
  explicit CaseRun(std::string path) : m_path(std::move(path)) {}

  void TestBody() override {
    TxnCase c(m_path);
    if (c.has("pending")) GTEST_SKIP() << "pending: " << c.text("pending");
    TestCertificates certs;
    SessionStoreGuard guard(certs);
    RawListener refusing("127.0.0.1", false);  // bound, not listening: connections are refused
    m_tokens = {{"%CERTS", certs.dir()}, {"%PASSWORD", certs.password()}, {"%LOGFILE", certs.dir() + "/debug.log"},
                {"%FREEPORT", std::to_string(refusing.port())}, {"%CR", "\r"}, {"%LF", "\n"}, {"%EQ", "="}};
    if (c.has("before")) {
      {
        // A first run whose only trace is the TLS session it stores.
        GatewaySim plain(certs);
        MerchantTxn first;
        fill(c, plain.port(), first);
        EXPECT_EQ(first.execute(), 1) << "[before]: " << first.field("ERROR");
      }
      std::remove(m_tokens["%LOGFILE"].c_str());
    }
    std::vector<std::string> options;
    for (const std::string& line : c.lines("simulator")) {
      std::string word = value(line);
      size_t space = word.find(' ');
      options.push_back(word.substr(0, space));
      if (space != std::string::npos) options.push_back(word.substr(space + 1));
    }
    GatewaySim sim(certs, options);
    MerchantTxn t;
    fill(c, sim.port(), t);
    auto start = std::chrono::steady_clock::now();
    int returned = t.execute();
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    compare(c, t, returned, seconds, sim);
  }

 private:
  std::string value(const std::string& text) const { return substitute(text, m_tokens); }

  // Settings through their setters, then the request's fields through
  // put(), each read back as it was given.
  void fill(const TxnCase& c, int port, MerchantTxn& t) {
    m_tokens["%PORT"] = std::to_string(port);
    txn* h = t.handle();
    for (const std::string& line : c.lines("settings")) {
      auto [name, text] = splitField(value(line));
      if (name == "SERVERS") setServers(h, text.c_str());
      else if (name == "SERVERPORT") setPort(h, text.c_str());
      else if (name == "CLIENTID") put_ClientID(h, text.c_str());
      else if (name == "CERTIFICATEPATH") put_CertificatePath(h, text.c_str());
      else if (name == "CERTIFICATEPASSWORD") put_CertificatePassword(h, text.c_str());
      else if (name == "LOGFILE") t.logTo(text);
      else ADD_FAILURE() << "unknown setting " << name;
    }
    for (const std::string& line : c.lines("request")) {
      auto [name, text] = splitField(line);
      name = value(name);
      text = value(text);
      put(h, name.c_str(), text.c_str());
      EXPECT_EQ(t.field(name.c_str()), text) << "put stores what it is given";
    }
  }

  void compare(const TxnCase& c, const MerchantTxn& t, int returned, double seconds, const GatewaySim& sim) {
    for (const std::string& line : c.lines("result")) {
      auto [name, text] = splitField(line);
      if (name == "return") EXPECT_EQ(std::to_string(returned), text) << line;
      else if (name == "outcome") EXPECT_EQ(kOutcomeNames[zelvanclient_outcome(t.handle())], text) << line;
      else if (name == "seconds-under") EXPECT_LT(seconds, std::stod(text)) << line;
      else ADD_FAILURE() << "unknown result line " << line;
    }
    for (const std::string& line : c.lines("fields")) {
      auto [name, text] = splitField(line);
      EXPECT_TRUE(t.has(name.c_str())) << name << " is absent";
      EXPECT_EQ(t.field(name.c_str()), value(text)) << name;
    }
    for (const std::string& name : c.lines("absent")) EXPECT_FALSE(t.has(name.c_str())) << name;
    for (const std::string& line : c.lines("match")) {
      auto [name, pattern] = splitField(line);
      EXPECT_TRUE(t.has(name.c_str())) << name << " is absent";
      EXPECT_TRUE(std::regex_match(t.field(name.c_str()), std::regex(pattern))) << name << ": " << t.field(name.c_str());
    }
    std::string log = readFile(m_tokens["%LOGFILE"]);
    for (const std::string& line : c.lines("log")) {
      bool present = line[0] == '+';
      EXPECT_EQ(log.find(value(line.substr(1))) != std::string::npos, present) << line;
    }
    for (const std::string& line : c.lines("stats")) {
      auto [name, count] = splitField(line);
      EXPECT_EQ(sim.stat(name), std::stol(count)) << name;
    }
    std::vector<std::string> messages = sim.recordedMessages();
    for (const std::string& line : c.lines("sent")) {
      for (const std::string& m : messages) EXPECT_NE(("\r\n" + m).find("\r\n" + value(line) + "\r\n"), std::string::npos) << line;
    }
  }

  std::string m_path;
  std::map<std::string, std::string> m_tokens;
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (const std::string& path : TxnCase::findAll(ZV_CASE_DIR)) {
    std::string name = TxnCase(path).name();
    for (char& ch : name) if (ch == '-') ch = '_';  // '-' would negate a --gtest_filter
    testing::RegisterTest("Case", name.c_str(), nullptr, nullptr, path.c_str(), 0,
                          [path]() -> testing::Test* { return new CaseRun(path); });
  }
  return RUN_ALL_TESTS();
}
