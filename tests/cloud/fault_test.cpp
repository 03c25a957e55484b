#include "Cloud/Server/Fault.h"

#include <stdexcept>

#include "Files.h"
#include "cloud_folder.h"

namespace LocalCloud {
namespace {

class FaultTest : public CloudTest {
protected:
    static Json::Value Planned(const std::string& kind, const std::string& on, int skip, int times) {
        Json::Value planned;
        planned["kind"] = kind;
        planned["value"] = "";
        planned["on"] = on;
        planned["skip"] = skip;
        planned["times"] = times;
        return planned;
    }

    void Plan(const std::string& kind, const std::string& on, int skip, int times) {
        AddFault(folder, Fault(Planned(kind, on, skip, times)));
    }

    /** One letter for each request: the fault's kind that hits it, or '-'. A server each, as after a restart.
     */
    std::string Hits(const std::string& name, int requests) {
        std::string hits;
        for (int i = 0; i < requests; ++i) {
            const auto fault = TakeFault(folder, name);
            hits += fault ? fault->Describe()[0] : '-';
        }
        return hits;
    }
};

TEST_F(FaultTest, HitsTheRequestsThatItIsForAsOftenAsAsked) {
    Plan("drop", "any", 2, 2);
    Plan("garbage", "token", 1, 1);
    EXPECT_EQ(Hits("download", 6), "--dd--");
    EXPECT_EQ(Hits("token", 3), "-g-");
    EXPECT_FALSE(Files::ReadIfThere(folder.StateFile("faults.json")));
}

TEST_F(FaultTest, GoesOnUntilClearedWithZeroTimesAndWaitsForEarlierOnes) {
    Plan("drop", "any", 0, 0);
    EXPECT_EQ(Hits("app", 3), "ddd");
    EXPECT_EQ(ForgetFaults(folder), 1U);
    EXPECT_EQ(ForgetFaults(folder), 0U);
    Plan("drop", "any", 0, 1);
    Plan("garbage", "any", 0, 1);
    EXPECT_EQ(Hits("app", 3), "dg-");
}

TEST_F(FaultTest, ConnectionFaultsLeaveRequestsAlone) {
    Plan("plain", "any", 1, 1);
    EXPECT_TRUE(PlannedFaults(folder).front().HitsConnection());
    EXPECT_EQ(Hits("app", 2), "--");
    EXPECT_FALSE(TakeFault(folder, ""));
    EXPECT_TRUE(TakeFault(folder, ""));
    EXPECT_TRUE(PlannedFaults(folder).empty());
}

TEST_F(FaultTest, DamagedPlanIsAnErrorAndStaysAsItIs) {
    for (const char* text : {"{", R"({"faults":[{"kind":"unheard-of"}]})",
                             R"({"faults":[{"kind":"delay","value":"-1s"}]})", R"({"faults":[7]})"}) {
        Files::Replace(folder.StateFile("faults.json"), text);
        EXPECT_THROW(TakeFault(folder, "app"), std::runtime_error) << text;
        EXPECT_THROW(Plan("drop", "any", 0, 1), std::runtime_error) << text;
        EXPECT_EQ(Files::Read(folder.StateFile("faults.json")), text);
    }
}

}  // namespace
}  // namespace LocalCloud
