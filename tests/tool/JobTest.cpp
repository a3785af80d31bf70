// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "farm/JobFiles.h"
#include "farm/JobState.h"
#include "farm/Part.h"
#include "farm/Slurm.h"
#include "media/decode/FilterGraph.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;
using testing::ThrowsMessage;

std::vector<std::string> Ranges(std::int64_t first, std::int64_t last, const ChunkLayout& layout) {
  std::vector<std::string> ranges;
  for (const Chunk& chunk : DivideFrames({first, last}, layout)) {
    EXPECT_EQ(chunk.number, static_cast<int>(ranges.size()) + 1);
    ranges.push_back(std::to_string(chunk.frames.first) + "-" + std::to_string(chunk.frames.last));
  }
  return ranges;
}

TEST(DivideFrames, MakesThatManyChunksOfNearlyEqualLength) {
  EXPECT_THAT(Ranges(0, 9, {4, {}}), ElementsAre("0-1", "2-4", "5-6", "7-9"));
}

TEST(DivideFrames, MakesNoChunkWithoutFrames) {
  EXPECT_THAT(Ranges(5, 7, {9, {}}), ElementsAre("5-5", "6-6", "7-7"));
}

TEST(DivideFrames, LeavesTheRestToTheLastChunk) {
  EXPECT_THAT(Ranges(100, 109, {{}, 4}), ElementsAre("100-103", "104-107", "108-109"));
}

TEST(PartLabel, IsReadAsItWasWritten) {
  const std::string text = "0123456789abcdef 3/12 150-199 fedcba9876543210";
  const auto label = PartLabel::Parse(text);
  ASSERT_TRUE(label);
  EXPECT_EQ(label->chunk.number, 3);
  EXPECT_EQ(label->chunk.count, 12);
  EXPECT_EQ(label->frames.first, 150);
  EXPECT_EQ(label->frames.last, 199);
  EXPECT_EQ(label->ToText(), text);
}

TEST(PartLabel, IsNotReadFromOtherTexts) {
  for (const char* text :
       {"", "job", "job 3/12 150-199", "job 3 150-199 state", "job 3/12 150 state",
        "job x/12 150-199 state", "job 3/12 150-199 state more", "job -3/12 150-199 state"}) {
    EXPECT_FALSE(PartLabel::Parse(text)) << text;
  }
}

// A job of chunks whose parts do not exist.
Job MakeJob(const std::string& folder, int chunks) {
  Job job{"1111222233334444", "in.mov", "out.mov", folder, {0, 10 * chunks - 1}, 0, {}, {}};
  job.chunks = DivideFrames(job.frames, {chunks, {}});
  for (Chunk& chunk : job.chunks) {
    chunk.part = folder + "/" + std::to_string(chunk.number) + ".mov";
    chunk.command = {"vixprores", "encode", "in 1.mov", chunk.part};
  }
  job.join = {"vixprores", "join", "in 1.mov", "out.mov"};
  return job;
}

TEST(Plan, IsReadAsItWasWritten) {
  const ScratchFolder folder;
  const std::string plan = folder / "plan.json";
  const Job job = MakeJob(folder / "job", 3);
  std::ofstream(plan) << PlanJson({job});
  const auto jobs = ReadPlan(plan);
  ASSERT_EQ(jobs.size(), 1);
  EXPECT_EQ(jobs[0].id, job.id);
  EXPECT_EQ(jobs[0].folder, job.folder);
  EXPECT_EQ(jobs[0].frames.last, 29);
  ASSERT_EQ(jobs[0].chunks.size(), 3);
  EXPECT_EQ(jobs[0].chunks[2].part, job.chunks[2].part);
  EXPECT_EQ(jobs[0].chunks[2].frames.first, 20);
}

TEST(Plan, RejectsOtherFiles) {
  const ScratchFolder folder;
  const std::string plan = folder / "plan.json";
  EXPECT_THAT([&] { ReadPlan(plan); }, ThrowsMessage<Failure>(HasSubstr("there is no such plan")));
  for (const char* text : {"", "[]", "{\"jobs\": 1}", "{\"jobs\": [{}]}", "text"}) {
    std::ofstream(plan) << text;
    EXPECT_THAT([&] { ReadPlan(plan); }, ThrowsMessage<Failure>(HasSubstr("is not a plan")))
        << text;
  }
}

TEST(Plan, RejectsNamesThatJsonCannotHold) {
  Job job = MakeJob("job", 1);
  job.input = "\xFF.mov";
  EXPECT_THAT([&] { PlanJson({job}); }, ThrowsMessage<Failure>(HasSubstr("UTF-8")));
}

RunReport FailedRun(const std::string& message) {
  RunReport report;
  report.message = message;
  return report;
}

TEST(JobState, ShowsWhatTheFolderHolds) {
  const ScratchFolder folder;
  const Job job = MakeJob(folder / "job", 4);
  std::filesystem::create_directory(job.folder);
  std::ofstream(job.chunks[1].part) << "no movie";
  std::ofstream(job.chunks[2].part + ".part-12") << "abandoned";
  RecordOutcome(NameOutcome(job.chunks[3].part), job.id, FailedRun("no space left"));
  const JobState state = FindJobState(job);
  EXPECT_EQ(state.chunks[0].status, ChunkStatus::Waiting);
  EXPECT_EQ(state.chunks[1].status, ChunkStatus::Waiting);
  EXPECT_EQ(state.chunks[2].status, ChunkStatus::Interrupted);
  EXPECT_EQ(state.chunks[3].status, ChunkStatus::Failed);
  EXPECT_EQ(state.chunks[3].message, "no space left");
  EXPECT_FALSE(state.isJoined);
}

TEST(JobState, IgnoresOutcomesOfOtherJobs) {
  const ScratchFolder folder;
  const Job job = MakeJob(folder / "job", 1);
  std::filesystem::create_directory(job.folder);
  RecordOutcome(NameOutcome(job.chunks[0].part), "another job", FailedRun("no space left"));
  RecordOutcome(NameJoinOutcome(job.folder), "another job", FailedRun("no space left"));
  const JobState state = FindJobState(job);
  EXPECT_EQ(state.chunks[0].status, ChunkStatus::Waiting);
  EXPECT_EQ(state.joinMessage, "");
}

TEST(JobState, IsJoinedWhileTheOutputExists) {
  const ScratchFolder folder;
  const Job job = MakeJob(folder / "job", 2);
  std::filesystem::create_directory(job.folder);
  RunReport report;
  report.status = RunReport::Status::Done;
  report.output = folder / "out.mov";
  RecordOutcome(NameJoinOutcome(job.folder), job.id, report, {"label 1", "label 2"});
  EXPECT_FALSE(AreJoined(job.folder, {"label 1"}));
  std::ofstream(report.output) << "movie";
  EXPECT_TRUE(FindJobState(job).isJoined);
  EXPECT_TRUE(AreJoined(job.folder, {"label 1", "label 2"}));
  EXPECT_FALSE(AreJoined(job.folder, {"label 1", "label 3"}));
}

TEST(Submission, HasOneTaskForEachChunk) {
  const Submission submission = PrepareSubmission(MakeJob("no folder", 3), {}, {}, 1000);
  EXPECT_EQ(submission.tasks, 3U);
  EXPECT_EQ(submission.files[0].text,
            "vixprores encode 'in 1.mov' 'no folder/1.mov'\n"
            "vixprores encode 'in 1.mov' 'no folder/2.mov'\n"
            "vixprores encode 'in 1.mov' 'no folder/3.mov'\n");
  EXPECT_THAT(submission.array, testing::Contains("--array=1-3"));
}

TEST(Submission, GivesTasksSeveralChunksIfAnArrayIsTooSmall) {
  const Submission submission = PrepareSubmission(MakeJob("job", 10), {}, {}, 4);
  EXPECT_EQ(submission.tasks, 4U);  // of three chunks, the last one of one
  EXPECT_THAT(submission.files[1].text, HasSubstr("SLURM_ARRAY_TASK_ID * 3"));
}

TEST(Submission, PassesTheOptionsOn) {
  const Submission submission =
      PrepareSubmission(MakeJob("50%", 2), {}, {"long", "1:00:00", 4, 1}, 1000);
  EXPECT_THAT(submission.array,
              testing::IsSupersetOf({"--partition=long", "--time=1:00:00", "--cpus-per-task=4",
                                     "--array=1-2%1", "--output=50%%/logs/%A-%a.log"}));
  EXPECT_THAT(submission.join, testing::IsSupersetOf({"--partition=long", "--time=1:00:00"}));
}

TEST(Submission, RejectsNamesWithLineBreaks) {
  Job job = MakeJob("job", 2);
  job.chunks[0].command.back() = "two\nlines";
  EXPECT_THAT([&] { PrepareSubmission(job, {}, {}, 1000); },
              ThrowsMessage<Failure>(HasSubstr("line break")));
}

TEST(TimelessFilters, DependOnOnePictureAlone) {
  for (const char* graph :
       {"hflip", "null,vflip", "scale=64:48", "crop=10:10:0:0,hue=s=0", "drawbox=t=2:x=1",
        "lut3d=/mnt/n/t.cube", "scale=w=iw/2:h=-2:flags=lanczos", "format=yuv420p"}) {
    EXPECT_EQ(FilterGraph::FindUntested(graph), std::nullopt) << graph;
  }
}

TEST(TimelessFilters, AreTheOnlyOnesWithoutMemory) {
  for (const char* graph :
       {"hqdn3d", "hflip,fps=10", "noise=c0s=9", "rotate=a=t", "rotate=t*2", "crop=10:10:n:0",
        "hue=h=90*t", "eq=brightness=random(1)", "scale=w=st(0\\,2)", "hflip=enable=gt(t\\,1)",
        "format=yuv420p[a];[a]fps=10", "[in]hflip", "scale=sws_dither=ed", "scale=64:48:ow=t", "",
        " hflip"}) {
    EXPECT_NE(FilterGraph::FindUntested(graph), std::nullopt) << graph;
  }
  EXPECT_THAT(FilterGraph::FindUntested("hflip,fps=10,vflip"), Optional(StartsWith("fps")));
}

}  // namespace
}  // namespace vixprores
