// Everything a client needs.
#pragma once

#include <CorvaneQueue/Apartment.h>
#include <CorvaneQueue/create.h>
#include <CorvaneQueue/Queue.h>
#include <CorvaneQueue/Queues.h>
#include <CorvaneQueue/Utility.h>
