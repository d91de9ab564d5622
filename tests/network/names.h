// Names that this test binary resolves by itself, so that no test asks a name server.
//
// "local.test" is 127.0.0.1. "stuck.test" keeps whoever asks waiting until StuckName is gone. No
// other name that ends in ".test" exists.
#pragma once

namespace tarnwillow::test {

class StuckName {
public:
    StuckName();
    ~StuckName();
    StuckName(const StuckName&) = delete;
    StuckName& operator=(const StuckName&) = delete;

    /// Returns once somebody has asked for the name.
    void wait_for_question();
};

}  // namespace tarnwillow::test
