#include <algorithm>
#include <string>
#include <vector>

#include "engineTestSupport.h"

namespace {

// What a handler saw: every event, its texts copied during the call.
struct Seen {
  int type;
  int size;
  long long elapsed;
  std::string texts;
  int resumed, statusCheck, outcome;
};

void collect(const zelvan_event* e, void* user) {
  std::string texts;
  for (const char* text : {e->server, e->address, e->tls_version, e->cipher}) {
    texts += text != nullptr ? text : "";
    texts += '|';
  }
  static_cast<std::vector<Seen>*>(user)->push_back(
      {e->type, e->size, e->elapsed_ms, texts, e->resumed, e->status_check, e->outcome});
}

// How many events of type there are, of those that also pass.
int eventCount(const std::vector<Seen>& events, int type, bool (*also)(const Seen&) = nullptr) {
  return static_cast<int>(
      std::count_if(events.begin(), events.end(), [&](const Seen& e) { return e.type == type && (!also || also(e)); }));
}

}  // namespace

// Purchases on one certificate (the first handshake full, later ones
// resumed), one of them resolved by a status check: the events counted
// match what the simulator counted, in order, and never carry card data.
// A handler cleared before execute() sees nothing.
TEST_F(EngineTest, EventsMatchWhatTheGatewayCounted) {
  GatewaySim& sim = gateway({"--fault", "close-before-final", "--fault-connections", "1"});
  std::vector<Seen> events;
  for (int i = 0; i < 3; i++) {
    MerchantTxn t(certs_, sim.port());
    ASSERT_EQ(zelvanclient_set_event_handler(t.handle(), collect, &events), 1);
    t.execute();
    EXPECT_EQ(zelvanclient_outcome(t.handle()), ZELVAN_OUTCOME_APPROVED) << i << t.field("ERROR");
    ASSERT_EQ(events.back().type, ZELVAN_EVENT_OUTCOME);
  }
  ASSERT_TRUE(sim.waitForStat("handshakes_full", 1));
  ASSERT_TRUE(sim.waitForStat("handshakes_resumed", 2));

  auto resumed = [](const Seen& e) { return e.resumed != 0; };
  auto approved = [](const Seen& e) { return e.outcome == ZELVAN_OUTCOME_APPROVED; };
  int handshakes = eventCount(events, ZELVAN_EVENT_HANDSHAKE_DONE);
  EXPECT_EQ(eventCount(events, ZELVAN_EVENT_HANDSHAKE_DONE, resumed), sim.stat("handshakes_resumed"));
  EXPECT_EQ(handshakes - sim.stat("handshakes_resumed"), sim.stat("handshakes_full"));
  EXPECT_EQ(eventCount(events, ZELVAN_EVENT_STATUS_CHECK), sim.stat("messages_STATUS"));
  EXPECT_EQ(sim.stat("messages_STATUS"), 1);
  EXPECT_EQ(eventCount(events, ZELVAN_EVENT_OUTCOME, approved), sim.stat("approved"));
  EXPECT_EQ(sim.stat("approved"), 3);
  int sent = eventCount(events, ZELVAN_EVENT_REQUEST_SENT);
  EXPECT_EQ(sent, sim.stat("messages"));
  EXPECT_EQ(eventCount(events, ZELVAN_EVENT_REPLY_READ), sent - 1) << "one final response was lost";

  long long previous = 0;
  for (const Seen& e : events) {
    EXPECT_EQ(e.size, static_cast<int>(sizeof(zelvan_event)));
    if (e.type == ZELVAN_EVENT_SERVER_TRIED) {
      EXPECT_EQ(e.texts, "127.0.0.1|127.0.0.1|||");
      previous = 0;  // a new execute()
    }
    if (e.type == ZELVAN_EVENT_HANDSHAKE_DONE) {
      EXPECT_EQ(e.texts.rfind("||TLSv1.", 0), 0u) << e.texts;
    }
    EXPECT_GE(e.elapsed, previous);
    previous = e.elapsed;
    EXPECT_EQ(e.texts.find(MerchantTxn::kApprovedCard), std::string::npos);
    EXPECT_EQ(e.texts.find(certs_.password()), std::string::npos);
  }

  events.clear();
  MerchantTxn& t = purchase();
  zelvanclient_set_event_handler(t.handle(), collect, &events);
  zelvanclient_set_event_handler(t.handle(), nullptr, &events);
  EXPECT_EQ(t.execute(), 1);
  EXPECT_TRUE(events.empty());
  EXPECT_EQ(zelvanclient_set_event_handler(nullptr, collect, &events), 0);
}
