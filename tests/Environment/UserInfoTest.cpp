// zorlan/Environment/UserInfo.hpp, NotificationNames.hpp, UserActivity.hpp: the apps'
// notification vocabulary, exact texts, and the typed reader's three errors and bridging.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "zorlan/Environment/NotificationNames.hpp"
#include "zorlan/Environment/UserActivity.hpp"
#include "zorlan/Environment/UserInfo.hpp"

namespace zorlan {
namespace {

TEST(NotificationNames, TextsAreExact) {
  const std::pair<NotificationName, std::string_view> names[] = {
      {notifications::textFieldDidBeginEditing(), "textFieldDidBeginEditing"},
      {notifications::textFieldDidEndEditing(), "textFieldDidEndEditing"},
      {notifications::downloadFailedSDKError(), "Download:Failed:SDK:Error"},
      {notifications::downloadsRemovedDueToUserPlan(), "Downloads:Removed:UserPlan"},
      {notifications::downloadFailedInsufficientSpace(), "Download:Failed:Insufficient:Space"},
      {notifications::watchlistUpdated(), "Watchlist:Updated"},
      {notifications::bookmarksUpdated(), "Bookmark:Updated"},
      {notifications::authorizeFromLoginCompleted(), "Account:Authorize:Login:Completed"},
      {notifications::firstUserInteractableViewPresented(), "UI:FirstInteractableViewPresented"},
      {notifications::appLaunchUnrecoverableError(), "AppLaunch:UnrecoverableError"},
      {notifications::reachabilityDidChange(), "ReachabilityChangedNotification"},
      {notifications::pictureInPictureStarted(), "PictureInPicture:Started"},
      {notifications::pictureInPictureStopped(), "PictureInPicture:Stopped"},
      {notifications::videoPlaybackStopped(), "VideoPlayer:Playback:Stopped"},
      {notifications::tabBarShouldHide(), "TabBar:ShouldHide"},
      {notifications::tabBarShouldShow(), "TabBar:ShouldShow"},
      {notifications::ageVerificationRequired(), "MatureContent:AgeVerificationRequired"},
      {notifications::ctvActivationWillPresent(), "CTVActivation:WillPresent"},
      {notifications::ctvActivationWillDisappear(), "CTVActivation:WillDisappear"},
      {notifications::persistentStoreMigrationFailure(), "PersistentStore:MigrationFailure"},
      {notifications::exploreSetNeedsReload(), "ExploreSet:NeedsReload"},
      {notifications::chromecastPlaybackStopped(), "Chromecast:Playback:Stopped"},
  };
  for (const auto& [name, text] : names) {
    EXPECT_EQ(name.rawValue(), text);
    EXPECT_EQ(name, NotificationName(text));  // observers match on the text
  }
}

TEST(UserInfoKeys, RawValuesRoundTripExactly) {
  const char* raws[] = {"contentIdentifier", "contentId",        "seriesId", "bookmarkUpsert",
                        "isAddToWatchlist",  "source",           "pageName", "pageViewId",
                        "experimentKeys",    "errorDescription", "setId"};
  for (int i = 0; i < 11; ++i) {
    auto key = static_cast<UserInfoKey>(i);
    EXPECT_EQ(rawValue(key), raws[i]);
    EXPECT_EQ(fromRawValue<UserInfoKey>(raws[i]), key);
  }
  EXPECT_EQ(fromRawValue<UserInfoKey>("ContentId"), std::nullopt);
  EXPECT_EQ(fromRawValue<ActivityType>("com.developer.app.home"), ActivityType::home);
  EXPECT_EQ(fromRawValue<ActivityType>("com.developer.app.details"), ActivityType::details);
  EXPECT_EQ(fromRawValue<ActivityType>("com.developer.app.Home"), std::nullopt);
  UserActivity home(ActivityType::home), details(ActivityType::details);
  EXPECT_EQ(home.activityType, "com.developer.app.home");
  EXPECT_EQ(home.persistentIdentifier, "homeUserActivityId");
  EXPECT_EQ(details.activityType, "com.developer.app.details");
  EXPECT_EQ(details.persistentIdentifier, "detailsUserActivityId");
}

// Posts through a centre and hands back the notification an observer saw.
Notification roundTrip(std::optional<AppUserInfo> info) {
  NotificationCenter center;
  std::optional<Notification> seen;
  auto o = center.addObserver(notifications::watchlistUpdated(),
                              [&seen](const Notification& n) { seen = n; });
  post(center, notifications::watchlistUpdated(), nullptr, std::move(info));
  return *seen;
}

TEST(UserInfoReader, ThreeErrorsTellWhatWentWrong) {
  Notification none = roundTrip(std::nullopt);
  EXPECT_EQ(none.userInfo(), nullptr);
  try {
    info<std::string>(none, UserInfoKey::contentId);
    FAIL();
  } catch (const UserInfoError& e) {
    EXPECT_TRUE(std::holds_alternative<UserInfoError::NoUserInfo>(e.error()));
    EXPECT_STREQ(e.what(), "noUserInfo");
  }

  Notification n = roundTrip(AppUserInfo{{UserInfoKey::seriesId, 5}});
  try {
    info<std::string>(n, UserInfoKey::contentId);
    FAIL();
  } catch (const UserInfoError& e) {
    auto* notFound = std::get_if<UserInfoError::NotFound>(&e.error());
    ASSERT_NE(notFound, nullptr);
    EXPECT_EQ(notFound->key, UserInfoKey::contentId);
  }
  try {
    info<std::string>(n, UserInfoKey::seriesId);
    FAIL();
  } catch (const UserInfoError& e) {
    auto* wrong = std::get_if<UserInfoError::WrongTypeFound>(&e.error());
    ASSERT_NE(wrong, nullptr);
    EXPECT_EQ(wrong->key, UserInfoKey::seriesId);
    EXPECT_EQ(std::any_cast<int>(wrong->found), 5);
  }

  // A value under the text "contentId" is not under the key contentId.
  NotificationCenter center;
  std::optional<Notification> seen;
  auto o = center.addObserver(notifications::watchlistUpdated(),
                              [&seen](const Notification& x) { seen = x; });
  center.post(notifications::watchlistUpdated(), nullptr,
              std::make_shared<const UserInfo>(UserInfo{{"contentId", std::string("m-1")}}));
  EXPECT_THROW(info<std::string>(*seen, UserInfoKey::contentId), UserInfoError);
}

TEST(UserInfoReader, BridgesTextAndExactNumbersOnly) {
  struct Probe {};
  Notification n = roundTrip(AppUserInfo{
      {UserInfoKey::contentId, std::string("m-42")},
      {UserInfoKey::pageName, "Home"},  // const char*
      {UserInfoKey::seriesId, 5},
      {UserInfoKey::setId, 2.5},
      {UserInfoKey::pageViewId, 300},
      {UserInfoKey::isAddToWatchlist, true},
      {UserInfoKey::source, std::int64_t{1}},
      {UserInfoKey::experimentKeys, std::vector<std::string>{"x"}},
      {UserInfoKey::errorDescription, Probe{}},
  });
  EXPECT_EQ(info<std::string>(n, UserInfoKey::contentId), "m-42");
  EXPECT_EQ(info<std::string>(n, UserInfoKey::pageName), "Home");
  EXPECT_EQ(info<double>(n, UserInfoKey::seriesId), 5.0);
  EXPECT_EQ(info<std::int64_t>(n, UserInfoKey::seriesId), 5);
  EXPECT_EQ(info<double>(n, UserInfoKey::setId), 2.5);
  EXPECT_EQ(info<float>(n, UserInfoKey::setId), 2.5f);
  EXPECT_EQ(info<int>(n, UserInfoKey::pageViewId), 300);
  EXPECT_EQ(info<int>(n, UserInfoKey::isAddToWatchlist), 1);
  EXPECT_EQ(info<bool>(n, UserInfoKey::source), true);
  EXPECT_EQ(info<std::vector<std::string>>(n, UserInfoKey::experimentKeys).at(0), "x");
  EXPECT_NO_THROW(info<Probe>(n, UserInfoKey::errorDescription));
  // Inexact or cross-kind reads are the wrong type.
  EXPECT_THROW(info<int>(n, UserInfoKey::setId), UserInfoError);               // 2.5
  EXPECT_THROW(info<std::int8_t>(n, UserInfoKey::pageViewId), UserInfoError);  // 300
  EXPECT_THROW(info<bool>(n, UserInfoKey::seriesId), UserInfoError);           // 5
  EXPECT_THROW(info<std::string>(n, UserInfoKey::seriesId), UserInfoError);
  EXPECT_THROW(info<int>(n, UserInfoKey::contentId), UserInfoError);
  Notification big =
      roundTrip(AppUserInfo{{UserInfoKey::seriesId, std::numeric_limits<std::uint64_t>::max()},
                            {UserInfoKey::setId, std::int64_t{(1ll << 53) + 1}}});
  EXPECT_THROW(info<std::int64_t>(big, UserInfoKey::seriesId), UserInfoError);
  EXPECT_THROW(info<double>(big, UserInfoKey::setId), UserInfoError);  // not exact as a double
}

}  // namespace
}  // namespace zorlan
