// The whole reactive core in one include.
#pragma once

#include "zorlan/Rx/Binder.hpp"
#include "zorlan/Rx/Completable.hpp"
#include "zorlan/Rx/CompositeDisposable.hpp"
#include "zorlan/Rx/ConcurrentDispatchQueueScheduler.hpp"
#include "zorlan/Rx/ConcurrentMainScheduler.hpp"
#include "zorlan/Rx/DisposeBag.hpp"
#include "zorlan/Rx/Driver.hpp"
#include "zorlan/Rx/Infallible.hpp"
#include "zorlan/Rx/MainScheduler.hpp"
#include "zorlan/Rx/Observable.hpp"
#include "zorlan/Rx/SerialDispatchQueueScheduler.hpp"
#include "zorlan/Rx/SerialDisposable.hpp"
#include "zorlan/Rx/Single.hpp"
#include "zorlan/Rx/Subjects.hpp"
#include "zorlan/Rx/VirtualTimeScheduler.hpp"
