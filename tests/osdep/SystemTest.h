#pragma once

#include "osdep/VXAOSDep.h"
#include "tests/fakes/FakeLog.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using NORXVXA20::VXAOSDep;
using testing::ElementsAre;
using testing::IsEmpty;

// The services against the real system, with an empty log and an empty directory.
class SystemTest : public testing::Test {
protected:
    SystemTest() { gLog.Reset(); }

    TemporaryDirectory m_directory;
};
