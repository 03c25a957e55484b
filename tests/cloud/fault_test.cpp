#include <stdexcept>

#include "Cloud/State/Faults.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class FaultTest : public CloudTest {
protected:
    void Plan(FaultKind kind, const std::string& on, std::int64_t skip, std::int64_t times) {
        Fault fault;
        fault.kind = kind;
        fault.on = on;
        fault.skip = skip;
        fault.times = times;
        plan.Add(fault);
    }

    /** One letter for each request: the fault's kind that hits it, or '-'. A server each, as after a restart.
     */
    std::string Hits(const std::string& name, int requests) {
        std::string hits;
        for (int i = 0; i < requests; ++i) {
            const auto fault = FaultPlan(folder).TakeForRequest(name);
            hits += fault ? fault->Describe()[0] : '-';
        }
        return hits;
    }

    FaultPlan plan{folder};
};

TEST_F(FaultTest, HitsTheRequestsThatItIsForAsOftenAsAsked) {
    Plan(FaultKind::DROP, "", 2, 2);
    Plan(FaultKind::GARBAGE, "token", 1, 1);
    EXPECT_EQ(Hits("download", 6), "--dd--");
    EXPECT_EQ(Hits("token", 3), "-g-");
    EXPECT_FALSE(Files::ReadIfThere(folder.StateFile("faults.json")));
}

TEST_F(FaultTest, GoesOnUntilClearedWithZeroTimes) {
    Plan(FaultKind::DROP, "", 0, 0);
    EXPECT_EQ(Hits("app", 3), "ddd");
    EXPECT_EQ(plan.Clear(), 1U);
    EXPECT_EQ(Hits("app", 1), "-");
    EXPECT_EQ(plan.Clear(), 0U);
}

TEST_F(FaultTest, SecondFaultWaitsForTheFirst) {
    Plan(FaultKind::DROP, "", 0, 1);
    Plan(FaultKind::GARBAGE, "", 0, 1);
    EXPECT_EQ(Hits("app", 3), "dg-");
}

TEST_F(FaultTest, ConnectionFaultsLeaveRequestsAlone) {
    Plan(FaultKind::PLAIN, "", 1, 1);
    EXPECT_TRUE(plan.WaitsForConnection());
    EXPECT_EQ(Hits("app", 2), "--");
    EXPECT_FALSE(plan.TakeForConnection());
    EXPECT_TRUE(plan.TakeForConnection());
    EXPECT_FALSE(plan.WaitsForConnection());
}

TEST_F(FaultTest, IsTheSameAfterItWasStored) {
    Fault fault;
    fault.kind = FaultKind::BODY;
    fault.on = "token";
    fault.skip = 3;
    fault.times = 4;
    fault.status = 503;
    fault.headers = {"Retry-After: 60"};
    fault.value = "/tmp/\xc3\xa4";
    plan.Add(fault);
    fault.skip = fault.times = 1;
    plan.Add(fault);
    EXPECT_EQ(Hits("token", 3), "-b-");
    const Fault taken = plan.TakeForRequest("token").value();
    EXPECT_EQ(taken.headers, fault.headers);
    EXPECT_EQ(taken.Describe(), "body /tmp/\xc3\xa4, status 503");
}

TEST_F(FaultTest, DamagedPlanIsAnErrorAndStaysAsItIs) {
    for (const char* text : {"{", R"({"faults":[{"kind":"unheard-of"}]})",
                             R"({"faults":[{"kind":"delay","value":"-1s"}]})", R"({"faults":[7]})"}) {
        Files::Replace(folder.StateFile("faults.json"), text);
        EXPECT_THROW(plan.TakeForRequest("app"), std::runtime_error) << text;
        EXPECT_THROW(Plan(FaultKind::DROP, "", 0, 1), std::runtime_error) << text;
        EXPECT_EQ(Files::Read(folder.StateFile("faults.json")), text);
    }
}

}  // namespace
}  // namespace LocalCloud
