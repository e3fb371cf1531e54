// Test entry point: every test runs with a fresh main loop available and logs kept out of the journal.
#include "Support/Log.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    Support::setLogToJournal(false);
    return RUN_ALL_TESTS();
}
