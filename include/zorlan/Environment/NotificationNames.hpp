// The names of the notifications the apps' features post to each other.
// Observers match on the text, so each spelling is part of the contract
// (including the few that break the "Area:Event" style). Each name is made
// once, on first use.
//
//   auto observation = NotificationCenter::defaultCenter().addObserver(
//       notifications::watchlistUpdated(), [](const Notification&) { refresh(); });
#pragma once

#include "zorlan/Platform/Notification.hpp"

namespace zorlan::notifications {

NotificationName textFieldDidBeginEditing();            // "textFieldDidBeginEditing"
NotificationName textFieldDidEndEditing();              // "textFieldDidEndEditing"
NotificationName downloadFailedSDKError();              // "Download:Failed:SDK:Error"
NotificationName downloadsRemovedDueToUserPlan();       // "Downloads:Removed:UserPlan"
NotificationName downloadFailedInsufficientSpace();     // "Download:Failed:Insufficient:Space"
NotificationName watchlistUpdated();                    // "Watchlist:Updated"
NotificationName bookmarksUpdated();                    // "Bookmark:Updated"
NotificationName authorizeFromLoginCompleted();         // "Account:Authorize:Login:Completed"
NotificationName firstUserInteractableViewPresented();  // "UI:FirstInteractableViewPresented"
NotificationName appLaunchUnrecoverableError();         // "AppLaunch:UnrecoverableError"
NotificationName reachabilityDidChange();               // reachability::kChangedNotification
NotificationName pictureInPictureStarted();             // "PictureInPicture:Started"
NotificationName pictureInPictureStopped();             // "PictureInPicture:Stopped"
NotificationName videoPlaybackStopped();                // "VideoPlayer:Playback:Stopped"
NotificationName tabBarShouldHide();                    // "TabBar:ShouldHide"
NotificationName tabBarShouldShow();                    // "TabBar:ShouldShow"
NotificationName ageVerificationRequired();             // "MatureContent:AgeVerificationRequired"
NotificationName ctvActivationWillPresent();            // "CTVActivation:WillPresent"
NotificationName ctvActivationWillDisappear();          // "CTVActivation:WillDisappear"
NotificationName persistentStoreMigrationFailure();     // "PersistentStore:MigrationFailure"
NotificationName exploreSetNeedsReload();               // "ExploreSet:NeedsReload"
NotificationName chromecastPlaybackStopped();           // "Chromecast:Playback:Stopped"

}  // namespace zorlan::notifications
