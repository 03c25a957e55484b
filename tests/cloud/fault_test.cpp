#include "Cloud/State/Faults.h"

#include <gtest/gtest.h>

namespace LocalCloud {
namespace {

Fault Planned(FaultKind kind, const std::string& on, std::int64_t skip, std::int64_t times) {
    Fault fault;
    fault.kind = kind;
    fault.on = on;
    fault.skip = skip;
    fault.times = times;
    return fault;
}

/** One letter for each request to the endpoint: the fault's kind that hits it, or '-'. */
std::string Hits(FaultPlan& plan, const std::string& endpoint, int requests) {
    std::string hits;
    for (int i = 0; i < requests; ++i) {
        const auto fault = plan.TakeForRequest(endpoint);
        hits += fault ? fault->Describe()[0] : '-';
    }
    return hits;
}

TEST(FaultPlan, HitsTheNthRequestAsOftenAsAsked) {
    FaultPlan plan;
    plan.Add(Planned(FaultKind::Drop, "any", 2, 2));
    EXPECT_EQ(Hits(plan, "records", 6), "--dd--");
}

TEST(FaultPlan, CountsOnlyTheEndpointThatItIsFor) {
    FaultPlan plan;
    plan.Add(Planned(FaultKind::Drop, "token", 1, 1));
    EXPECT_EQ(Hits(plan, "records", 3), "---");
    EXPECT_EQ(Hits(plan, "token", 3), "-d-");
}

TEST(FaultPlan, GoesOnUntilClearedWithZeroTimes) {
    FaultPlan plan;
    plan.Add(Planned(FaultKind::Drop, "any", 0, 0));
    EXPECT_EQ(Hits(plan, "app", 3), "ddd");
    plan.Clear();
    EXPECT_EQ(Hits(plan, "app", 1), "-");
}

TEST(FaultPlan, SecondFaultWaitsForTheFirst) {
    FaultPlan plan;
    plan.Add(Planned(FaultKind::Drop, "any", 0, 1));
    plan.Add(Planned(FaultKind::Garbage, "any", 0, 1));
    EXPECT_EQ(Hits(plan, "app", 3), "dg-");
}

TEST(FaultPlan, ConnectionFaultsLeaveRequestsAlone) {
    FaultPlan plan;
    plan.Add(Planned(FaultKind::Plain, "any", 1, 1));
    EXPECT_TRUE(plan.WaitsForConnection());
    EXPECT_EQ(Hits(plan, "app", 2), "--");
    EXPECT_FALSE(plan.TakeForConnection());
    EXPECT_TRUE(plan.TakeForConnection());
    EXPECT_FALSE(plan.WaitsForConnection());
}

TEST(Fault, SurvivesItsJsonForm) {
    Fault fault = Planned(FaultKind::Body, "token", 3, 4);
    fault.status = 503;
    fault.headers = {"Retry-After: 60"};
    fault.body = std::string("\xff\0{", 3);
    const Fault copy = FaultFromJson(ToJson(fault));
    EXPECT_EQ(copy.body, fault.body);
    EXPECT_EQ(ToJson(copy), ToJson(fault));
}

}  // namespace
}  // namespace LocalCloud
