// The properties as one struct.
#include "c_recorder.h"

using CConfiguration = CRecorderTest;
using testing::HasSubstr;
using testing::StrEq;

TEST_F(CConfiguration, OfANewRecorderHasTheRecordersDefaults) {
  vx_recorder* fresh = nullptr;
  ASSERT_EQ(vx_recorder_create(nullptr, &fresh), VX_OK);
  vx_configuration configuration = VX_CONFIGURATION_INIT;
  EXPECT_EQ(vx_recorder_get_configuration(fresh, &configuration), VX_OK);
  EXPECT_EQ(configuration.index, 1u);
  EXPECT_EQ(configuration.folder_limit_size, 0u);
  EXPECT_EQ(configuration.filename, nullptr);
  EXPECT_EQ(configuration.storage_path, nullptr);
  EXPECT_FALSE(configuration.audio_enabled);
  vx_recorder_destroy(fresh);
}

TEST_F(CConfiguration, ReachesEveryPropertyOfTheRecorder) {
  configure([](vx_configuration& configuration) {
    configuration.storage_path = "/a";
    configuration.filename = "b.mp4";
    configuration.file_name_prefix = "c";
    configuration.username = "d";
    configuration.folder_limit_size = 5;
    configuration.index = 6;
    configuration.audio_enabled = true;
  });
  const VXVideoRecorder& inside = *recorder->recorder;
  EXPECT_EQ(inside.storagePath(), "/a");
  EXPECT_EQ(inside.filename(), "b.mp4");
  EXPECT_EQ(inside.fileNamePrefix(), "c");
  EXPECT_EQ(inside.username(), "d");
  EXPECT_EQ(inside.folderLimitSize(), 5u);
  EXPECT_EQ(inside.index(), 6u);
  EXPECT_TRUE(inside.audioEnabled());
}

TEST_F(CConfiguration, ThatWasReadMayBeSetAgain) {
  configure([](vx_configuration& configuration) { configuration.username = "somebody"; });
  configure([](vx_configuration&) {});
  configure([](vx_configuration& configuration) {
    EXPECT_THAT(configuration.username, StrEq("somebody"));
    EXPECT_THAT(configuration.filename, StrEq("c.mp4"));
  });
}

TEST_F(CConfiguration, TellsAbsentTextsFromEmptyOnes) {
  configure([](vx_configuration& configuration) {
    configuration.username = nullptr;
    configuration.file_name_prefix = "";
  });
  EXPECT_EQ(recorder->recorder->username(), std::nullopt);
  EXPECT_EQ(recorder->recorder->fileNamePrefix(), "");
}

TEST_F(CConfiguration, KeepsTheCompletionHandlerForTheHost) {
  int calls = 0;
  configure([&](vx_configuration& configuration) {
    configuration.completion_handler = [](void* count) { ++*static_cast<int*>(count); };
    configuration.completion_user_data = &calls;
  });
  recorder->recorder->completionHandler()();
  EXPECT_EQ(calls, 1);
  configure([&](vx_configuration& configuration) {
    EXPECT_EQ(configuration.completion_user_data, &calls);
    configuration.completion_handler = nullptr;
  });
  EXPECT_FALSE(recorder->recorder->completionHandler());
}

TEST_F(CConfiguration, NeedsARecorderAndAStruct) {
  vx_configuration configuration = VX_CONFIGURATION_INIT;
  EXPECT_EQ(vx_recorder_get_configuration(nullptr, &configuration), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_set_configuration(nullptr, &configuration), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_get_configuration(recorder, nullptr), VX_INVALID_ARGUMENT);
  EXPECT_EQ(vx_recorder_set_configuration(recorder, nullptr), VX_INVALID_ARGUMENT);
  EXPECT_THAT(vx_last_error(), HasSubstr("vx_configuration is null"));
}
