#pragma once

#include "application/linux/TourGuide.h"
#include "platform/Task.h"

/// The last part of the tour: the signed-in page asks to send notifications, a reminder comes, the person
/// signs out, which takes all reminders back.
///
/// Where nothing shows notifications there is no question. A notification comes only where
/// BRISKO_SCREEN_PICTURE names a program that saves a picture of the whole screen to the file that it is
/// given, as no window of this program shows it; elsewhere the tour leaves the person's desktop alone and
/// answers the question with a no.
class TourReminders {
public:
    /// The guide has to outlive it.
    explicit TourReminders(TourGuide& guide) : guide_(guide) {}

    Task<> run();

private:
    Task<> openSettings();
    Task<> question(bool isAllowed);
    Task<> reminder();
    Task<> signOut();

    TourGuide& guide_;
};
