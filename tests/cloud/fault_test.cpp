#include <stdexcept>

#include "Cloud/Server/FaultPlan.h"
#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class FaultTest : public CloudTest {
protected:
    void Plan(const std::string& kind, const std::string& on, std::int64_t skip, std::int64_t times) {
        Fault fault = FaultOf(kind);
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
            const auto fault = FaultPlan(folder).Take(name);
            hits += fault ? fault->Describe()[0] : '-';
        }
        return hits;
    }

    FaultPlan plan{folder};
};

TEST_F(FaultTest, HitsTheRequestsThatItIsForAsOftenAsAsked) {
    Plan("drop", "", 2, 2);
    Plan("garbage", "token", 1, 1);
    EXPECT_EQ(Hits("download", 6), "--dd--");
    EXPECT_EQ(Hits("token", 3), "-g-");
    EXPECT_FALSE(Files::ReadIfThere(folder.StateFile("faults.json")));
}

TEST_F(FaultTest, GoesOnUntilClearedWithZeroTimesAndWaitsForEarlierOnes) {
    Plan("drop", "", 0, 0);
    EXPECT_EQ(Hits("app", 3), "ddd");
    EXPECT_EQ(plan.Clear(), 1U);
    EXPECT_EQ(plan.Clear(), 0U);
    Plan("drop", "", 0, 1);
    Plan("garbage", "", 0, 1);
    EXPECT_EQ(Hits("app", 3), "dg-");
}

TEST_F(FaultTest, ConnectionFaultsLeaveRequestsAlone) {
    Plan("plain", "", 1, 1);
    EXPECT_TRUE(plan.WaitsForConnection());
    EXPECT_EQ(Hits("app", 2), "--");
    EXPECT_FALSE(plan.Take(""));
    EXPECT_TRUE(plan.Take(""));
    EXPECT_FALSE(plan.WaitsForConnection());
}

TEST_F(FaultTest, IsTheSameAfterItWasStored) {
    Fault fault = FaultOf("body");
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
    const Fault taken = plan.Take("token").value();
    EXPECT_EQ(taken.headers, fault.headers);
    EXPECT_EQ(taken.Describe(), "body /tmp/\xc3\xa4, status 503");
}

TEST_F(FaultTest, DamagedPlanIsAnErrorAndStaysAsItIs) {
    for (const char* text : {"{", R"({"faults":[{"kind":"unheard-of"}]})",
                             R"({"faults":[{"kind":"delay","value":"-1s"}]})", R"({"faults":[7]})"}) {
        Files::Replace(folder.StateFile("faults.json"), text);
        EXPECT_THROW(plan.Take("app"), std::runtime_error) << text;
        EXPECT_THROW(Plan("drop", "", 0, 1), std::runtime_error) << text;
        EXPECT_EQ(Files::Read(folder.StateFile("faults.json")), text);
    }
}

}  // namespace
}  // namespace LocalCloud
