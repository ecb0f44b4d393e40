#include "engineTestSupport.h"

// The gateway records its decision 1.5 s after losing the client: the
// status checks, pausing between them, find it within their window; three
// checks back to back do not.
TEST_F(EngineTest, StatusChecksWaitForALateDecision) {
  GatewaySim& sim = gateway({"--settle-after", "1500"});
  MerchantTxn& t = purchase();
  EXPECT_EQ(t.execute(), 1) << t.field("ERROR");
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_APPROVED) << t.field("ERROR");
  EXPECT_EQ(t.field("RESULT"), "0");
  EXPECT_FALSE(t.has("ERROR"));
  EXPECT_GE(sim.stat("messages_STATUS"), 2);
  EXPECT_EQ(logCount("\tStatus Checks\t\t\t : [" + std::to_string(sim.stat("messages_STATUS")) + "]"), 1);
  EXPECT_EQ(logCount("\tOutcome\t\t\t\t\t : [approved]"), 1);

  long before = sim.stat("messages_STATUS");
  MerchantTxn quick;
  quick.settings(certs_, sim.port());
  quick.purchase();
  put(quick.handle(), "_STATUSWINDOW", "0");
  quick.execute();
  EXPECT_EQ(zelvanclient_outcome(quick.handle()), ZELVAN_OUTCOME_UNKNOWN);
  EXPECT_EQ(quick.field("ERROR"), "TRANSACTION NOT COMPLETED");
  EXPECT_EQ(sim.stat("messages_STATUS") - before, 3) << "three checks, back to back";
}

TEST_F(EngineTest, AFinalResponseWithoutResultIsUnknown) {
  gateway({"--fault", "final-no-result"});
  MerchantTxn& t = purchase();
  EXPECT_EQ(t.execute(), 1);
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_UNKNOWN);
  EXPECT_FALSE(t.has("RESULT"));
  EXPECT_EQ(logCount("Transaction Succeeded"), 1);
  EXPECT_EQ(logCount("\tOutcome\t\t\t\t\t : [unknown]"), 1);
}

// Refused on the read that brought it, not read on until the time-out.
TEST_F(EngineTest, AReplyWithANulByteIsRefusedAtOnce) {
  gateway({"--fault", "first-nul"});
  MerchantTxn& t = purchase();
  EXPECT_EQ(t.execute(), 0);
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(t.field("ERROR"), "UNABLE TO READ SERVER RESPONSE");
  EXPECT_EQ(t.field("RESULT"), "-1");
  EXPECT_EQ(logCount("NUL byte before its end marker: refused."), 1);
  EXPECT_EQ(logCount("waittime is is"), 0) << "no time-out path";
  // The read that brought the byte was the last one.
  std::string log = logText();
  size_t refused = log.find("NUL byte before its end marker");
  ASSERT_NE(refused, std::string::npos);
  EXPECT_EQ(log.find("Attempt to read response", refused), std::string::npos);
  EXPECT_LT(log.find("Message not found.", refused), log.find("\n", log.find("\n", refused) + 1));
  EXPECT_EQ(logCount("\tOutcome\t\t\t\t\t : [no decision]"), 1);
}

TEST_F(EngineTest, AnUnusableLocalSettingFailsBeforeConnecting) {
  GatewaySim& sim = gateway();
  MerchantTxn& t = purchase();
  put(t.handle(), "_STATUSWINDOW", "8 s");
  EXPECT_EQ(t.execute(), 0);
  EXPECT_EQ(outcome(), ZELVAN_OUTCOME_NO_DECISION);
  EXPECT_EQ(t.field("ERROR"), "INVALID SETTING");
  EXPECT_EQ(t.field("ERROR_DETAIL"), "_STATUSWINDOW must be a whole number of milliseconds.");
  EXPECT_EQ(t.field("CARDDATA"), MerchantTxn::kApprovedCard) << "kept for the corrected request";
  EXPECT_EQ(sim.stat("connections"), 0);
}
