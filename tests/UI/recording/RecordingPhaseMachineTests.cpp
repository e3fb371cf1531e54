#include "UI/recording/RecordingControlPresentation.h"
#include "UI/recording/RecordingPhaseMachine.h"
#include "UI/recording/RecordingState.h"

#include <gtest/gtest.h>

using namespace UI;
using Support::dateFromUnix;
using P = RecordingPhase;
using E = RecordingPhaseEvent;

namespace {
const auto t1 = dateFromUnix(1000);
const auto t2 = dateFromUnix(2000);
} // namespace

TEST(RecordingPhaseMachine, ReduceFollowsTheTransitionTableForEveryPhaseAndEvent) {
    struct Row {
        P from;
        E event;
        P expected;
    };
    const Row rows[] = {
        {P::idle(), E::captureStarted(t2), P::recording(t2)},
        {P::starting(), E::captureStarted(t2), P::recording(t2)},
        {P::recording(t1), E::captureStarted(t2), P::recording(t1)}, // keeps the first start time
        {P::saving(t1), E::captureStarted(t2), P::recording(t2)},    // a new capture during a save
        {P::idle(), E::stopRequested(t2), P::idle()},
        {P::starting(), E::stopRequested(t2), P::saving(t2)},
        {P::recording(t1), E::stopRequested(t2), P::saving(t2)},
        {P::saving(t1), E::stopRequested(t2), P::saving(t1)},
        {P::idle(), E::startRequested(), P::starting()},
        {P::starting(), E::startRequested(), P::starting()},
        {P::recording(t1), E::startRequested(), P::recording(t1)},
        {P::saving(t1), E::startRequested(), P::saving(t1)},
        {P::idle(), E::startFailed(), P::idle()},
        {P::starting(), E::startFailed(), P::idle()},
        {P::recording(t1), E::startFailed(), P::recording(t1)},
        {P::saving(t1), E::startFailed(), P::saving(t1)},
        {P::idle(), E::saveFinished(), P::idle()},
        {P::starting(), E::saveFinished(), P::starting()},
        {P::recording(t1), E::saveFinished(), P::recording(t1)},
        {P::saving(t1), E::saveFinished(), P::idle()},
        {P::idle(), E::reset(), P::idle()},
        {P::starting(), E::reset(), P::idle()},
        {P::recording(t1), E::reset(), P::idle()},
        {P::saving(t1), E::reset(), P::idle()},
    };
    for (const auto& row : rows) {
        auto result = RecordingPhaseMachine::reduce(row.from, row.event);
        EXPECT_EQ(result, row.expected) << row.from.name() << " + event " << static_cast<int>(row.event.kind)
                                        << " gave " << result.name();
        EXPECT_EQ(result.date, row.expected.date) << "payload of " << result.name();
    }
}

TEST(RecordingPhaseMachine, AStopRunsOnlyWhileStartingOrRecording) {
    using R = RecordingPhaseMachine::StopResponse;
    EXPECT_EQ(RecordingPhaseMachine::stopResponse(P::recording(t1)), R::stop);
    EXPECT_EQ(RecordingPhaseMachine::stopResponse(P::starting()), R::stop);
    EXPECT_EQ(RecordingPhaseMachine::stopResponse(P::saving(t1)), R::ignoreAlreadySaving);
    EXPECT_EQ(RecordingPhaseMachine::stopResponse(P::idle()), R::ignoreNotRecording);
}

TEST(RecordingPhase, OnlyRecordingReportsAStartTimeAndEqualityComparesDatesOnlyWhereTheyMatter) {
    EXPECT_EQ(P::recording(t1).startedAt(), t1);
    EXPECT_FALSE(P::saving(t1).startedAt().has_value());
    EXPECT_FALSE(P::saving(t1).isRecording());
    EXPECT_TRUE(P::saving(t1).isSaving());
    EXPECT_NE(P::recording(t1), P::recording(t2));
    EXPECT_NE(P::recording(t1), P::saving(t1));
    EXPECT_EQ(E::captureStarted(t1), E::captureStarted(t1));
    EXPECT_NE(E::stopRequested(t1), E::stopRequested(t2));
}

TEST(RecordingState, SettingThePhaseBringsIsRecordingInLineWithoutASecondPhaseChange) {
    RecordingState state([] { return t2; });
    std::vector<std::string> phases;
    std::vector<bool> flags;
    auto a = state.phasePublisher().observe([&](const P& p) { phases.push_back(p.name()); });
    auto b = state.isRecordingPublisher().observe([&](bool v) { flags.push_back(v); });

    state.setPhase(P::recording(t1));
    state.setPhase(P::saving(t2));
    EXPECT_EQ(phases, (std::vector<std::string>{"recording", "saving"}));
    EXPECT_EQ(flags, (std::vector<bool>{true, false}));
    EXPECT_EQ(state.phase(), P::saving(t2));
}

TEST(RecordingState, FlippingIsRecordingDrivesThePhaseMachine) {
    RecordingState state([] { return t2; });
    state.setPhase(P::recording(t1));
    state.setIsRecording(true); // already recording: nothing changes
    EXPECT_EQ(state.phase(), P::recording(t1));

    for (auto from : {P::starting(), P::recording(t1), P::saving(t1), P::idle()}) {
        state.setPhase(from);
        state.setIsRecording(false);
        EXPECT_EQ(state.phase(), P::idle()) << "from " << from.name();
    }
    state.setIsRecording(true);
    EXPECT_EQ(state.phase(), P::recording(t2)) << "true acts as capture started now";
    EXPECT_TRUE(state.isRecording());
}

TEST(RecordingState, TheSecondInitialiserStartsRecordingNowOrIdle) {
    RecordingState recording(true, [] { return t1; });
    EXPECT_EQ(recording.phase(), P::recording(t1));
    EXPECT_TRUE(recording.isRecording());
    RecordingState idle(false, [] { return t1; });
    EXPECT_EQ(idle.phase(), P::idle());
    EXPECT_FALSE(idle.isRecording());
}

TEST(RecordingControlPresentation, ToolbarAndEmptyStateTablesAreExact) {
    using C = RecordingControlPresentation;
    const std::string start = "Vellmora.startRecordingRequested", stop = "Vellmora.stopRecordingRequested";
    EXPECT_EQ(C::forToolbar(P::idle()),
              (C{"Record", "record.circle", "Start Recording (⌘R)", true, start, true}));
    EXPECT_EQ(C::forToolbar(P::starting()),
              (C{"Stop", "stop.circle.fill", "Stop Recording", false, stop, true}));
    EXPECT_EQ(C::forToolbar(P::recording(t1)),
              (C{"Stop", "stop.circle.fill", "Stop Recording", false, stop, true}));
    EXPECT_EQ(C::forToolbar(P::saving(t1)),
              (C{"Saving…", "hourglass", "Saving the recording", false, stop, false}));
    EXPECT_EQ(C::forEmptyState(P::idle()),
              (C{"Start Recording", "record.circle", "Start recording now (⌘R)", true, start, true}));
    EXPECT_EQ(C::forEmptyState(P::starting()),
              (C{"Stop Recording", "stop.circle.fill", "Stop recording", false, stop, true}));
    EXPECT_EQ(C::forEmptyState(P::recording(t1)),
              (C{"Stop Recording", "stop.circle.fill", "Stop recording", false, stop, true}));
    EXPECT_EQ(C::forEmptyState(P::saving(t1)),
              (C{"Saving Recording…", "hourglass", "Saving the recording", false, stop, false}));
}
