#include "zorlan/Rx/Rx.hpp"
