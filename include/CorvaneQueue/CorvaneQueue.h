// Everything a client needs.
#pragma once

#include <CorvaneQueue/Apartment.h>
#include <CorvaneQueue/client.h>
#include <CorvaneQueue/operationsClient.h>
#include <CorvaneQueue/Worker.h>
