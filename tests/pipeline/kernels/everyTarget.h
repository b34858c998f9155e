// everyTarget.h: runs a test once at each level of vector instructions that this CPU has.
#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cctype>
#include <cstdint>
#include <string>

namespace quillet {

/// While it lives, kernels run at the level of the test's parameter.
class EveryTarget : public testing::TestWithParam<std::int64_t> {
protected:
    void SetUp() override {
        hwy::SetSupportedTargetsForTest(GetParam());
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
    void TearDown() override {
        hwy::SetSupportedTargetsForTest(0);
        hwy::GetChosenTarget().Update(hwy::SupportedTargets());
    }
};

inline std::string targetName(const testing::TestParamInfo<std::int64_t>& info) { return hwy::TargetName(info.param); }

} // namespace quillet
