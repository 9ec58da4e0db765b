#include "zorlan/Environment/NotificationNames.hpp"

#include "zorlan/Platform/Reachability.hpp"

namespace zorlan::notifications {

#define ZORLAN_NOTIFICATION_NAME(function, text) \
  NotificationName function() {                  \
    static const NotificationName name{text};    \
    return name;                                 \
  }

ZORLAN_NOTIFICATION_NAME(textFieldDidBeginEditing, "textFieldDidBeginEditing")
ZORLAN_NOTIFICATION_NAME(textFieldDidEndEditing, "textFieldDidEndEditing")
ZORLAN_NOTIFICATION_NAME(downloadFailedSDKError, "Download:Failed:SDK:Error")
ZORLAN_NOTIFICATION_NAME(downloadsRemovedDueToUserPlan, "Downloads:Removed:UserPlan")
ZORLAN_NOTIFICATION_NAME(downloadFailedInsufficientSpace, "Download:Failed:Insufficient:Space")
ZORLAN_NOTIFICATION_NAME(watchlistUpdated, "Watchlist:Updated")
ZORLAN_NOTIFICATION_NAME(bookmarksUpdated, "Bookmark:Updated")
ZORLAN_NOTIFICATION_NAME(authorizeFromLoginCompleted, "Account:Authorize:Login:Completed")
ZORLAN_NOTIFICATION_NAME(firstUserInteractableViewPresented, "UI:FirstInteractableViewPresented")
ZORLAN_NOTIFICATION_NAME(appLaunchUnrecoverableError, "AppLaunch:UnrecoverableError")
ZORLAN_NOTIFICATION_NAME(reachabilityDidChange, reachability::kChangedNotification)
ZORLAN_NOTIFICATION_NAME(pictureInPictureStarted, "PictureInPicture:Started")
ZORLAN_NOTIFICATION_NAME(pictureInPictureStopped, "PictureInPicture:Stopped")
ZORLAN_NOTIFICATION_NAME(videoPlaybackStopped, "VideoPlayer:Playback:Stopped")
ZORLAN_NOTIFICATION_NAME(tabBarShouldHide, "TabBar:ShouldHide")
ZORLAN_NOTIFICATION_NAME(tabBarShouldShow, "TabBar:ShouldShow")
ZORLAN_NOTIFICATION_NAME(ageVerificationRequired, "MatureContent:AgeVerificationRequired")
ZORLAN_NOTIFICATION_NAME(ctvActivationWillPresent, "CTVActivation:WillPresent")
ZORLAN_NOTIFICATION_NAME(ctvActivationWillDisappear, "CTVActivation:WillDisappear")
ZORLAN_NOTIFICATION_NAME(persistentStoreMigrationFailure, "PersistentStore:MigrationFailure")
ZORLAN_NOTIFICATION_NAME(exploreSetNeedsReload, "ExploreSet:NeedsReload")
ZORLAN_NOTIFICATION_NAME(chromecastPlaybackStopped, "Chromecast:Playback:Stopped")

#undef ZORLAN_NOTIFICATION_NAME

}  // namespace zorlan::notifications
