/* The object model and the operations for C, and for every language that can call C.
 *
 * One handle stands for an object; its members are called by their names, which are those of the C++ headers
 * and of `corvaneq describe`. The functions behind the first part give them types, for what programs use
 * most.
 *
 *   corvane_error error = {0};
 *   corvane_object* queue = corvane_create("CorvaneQueue.Queue", &error);
 *   if (queue == NULL || !corvane_queue_initialize(queue, "Orders", &error) ||
 *       !corvane_queue_send_document(queue, text, size, &error))
 *     fprintf(stderr, "%s\n", error.description);
 *   corvane_error_clear(&error);
 *   corvane_release(queue);
 *
 * Texts are UTF-8. No function throws; one that returns false, or NULL for an object, has failed and has
 * filled `error`, which may be NULL. An object belongs to the thread that created it; release it there. */
#ifndef CORVANE_C_H
#define CORVANE_C_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef CORVANE_C_API
#ifdef _WIN32
#ifdef CORVANE_BUILDS_LIBRARY
#define CORVANE_C_API __declspec(dllexport)
#else
#define CORVANE_C_API
#endif
#else
#define CORVANE_C_API __attribute__((visibility("default")))
#endif
#endif

/* "0.2.0"; lives as long as the library. */
CORVANE_C_API const char* corvaneVersion(void);

typedef struct corvane_object corvane_object;

/* What failed: the number as in docs/errors.md, where from, and a sentence. Set it to {0} before its first
 * use, and clear it when it is used no more. A call that fails replaces what is in it. */
typedef struct corvane_error {
  int32_t number;
  char* source;
  char* description;
} corvane_error;
CORVANE_C_API void corvane_error_clear(corvane_error* error);

typedef enum corvane_kind {
  CORVANE_EMPTY,
  CORVANE_TRUTH,  /* number: 0 or 1 */
  CORVANE_NUMBER, /* number */
  CORVANE_REAL,   /* real */
  CORVANE_TIME,   /* real: seconds since 1970, in UTC for operations, in local time for messages */
  CORVANE_TEXT,   /* text, size: bytes; followed by a zero byte when it is a result */
  CORVANE_OBJECT  /* object, NULL for none */
} corvane_kind;

typedef struct corvane_value {
  corvane_kind kind;
  int64_t number;
  double real;
  const char* text;
  size_t size;
  corvane_object* object;
} corvane_value;
/* Frees the text of a result, or releases its object. */
CORVANE_C_API void corvane_value_clear(corvane_value* value);

/* A new object: "CorvaneQueue.Queue", "CorvaneQueue.Queues", "CorvaneQueue.Utility",
 * "CorvaneQueue.Operations". */
CORVANE_C_API corvane_object* corvane_create(const char* name, corvane_error* error);
/* NULL is no object. */
CORVANE_C_API void corvane_release(corvane_object* object);

/* Calls a member by its name: with its arguments in their order; reads a property, perhaps with an argument;
 * writes one. Error 438 for a member that there is not. `result` may be NULL; clear it. */
typedef enum corvane_use { CORVANE_USE_CALL, CORVANE_USE_GET, CORVANE_USE_PUT, CORVANE_USE_SET } corvane_use;
CORVANE_C_API bool corvane_invoke(corvane_object* object, corvane_use use, const char* member,
                                  const corvane_value* arguments, size_t count, corvane_value* result,
                                  corvane_error* error);

/* Events: "evtArrived" of a Queue (document, identifier), "evtProgress" of Operations (done, total). The
 * arguments are gone when the handler returns. One that returns false has failed: what it was told of is not
 * acknowledged, and corvane_pump, or the call that goes on, fails with error 100. Release the listener before
 * its source. */
typedef bool (*corvane_handler)(void* user, const corvane_value* arguments, size_t count);
CORVANE_C_API corvane_object* corvane_listen(corvane_object* source, const char* event,
                                             corvane_handler handler, void* user, corvane_error* error);
/* Waits until there are events of this thread's objects, at most so long (negative: without end), and
 * delivers them. It may return earlier. */
CORVANE_C_API bool corvane_pump(int32_t milliseconds, corvane_error* error);

/* ---- With types */

static inline corvane_value corvane_text(const char* text) {
  corvane_value value = {CORVANE_TEXT, 0, 0, text, text == NULL ? 0 : strlen(text), NULL};
  return value;
}
static inline corvane_value corvane_bytes(const char* text, size_t size) {
  corvane_value value = {CORVANE_TEXT, 0, 0, text, size, NULL};
  return value;
}
static inline corvane_value corvane_number(int64_t number) {
  corvane_value value = {CORVANE_NUMBER, number, 0, NULL, 0, NULL};
  return value;
}
static inline corvane_value corvane_truth(bool truth) {
  corvane_value value = {CORVANE_TRUTH, truth, 0, NULL, 0, NULL};
  return value;
}
static inline corvane_value corvane_given(corvane_object* object) {
  corvane_value value = {CORVANE_OBJECT, 0, 0, NULL, 0, object};
  return value;
}

/* Properties of any object. A text is to be freed with corvane_value_clear. */
static inline bool corvane_get_text(corvane_object* object, const char* property, corvane_value* text,
                                    corvane_error* error) {
  return corvane_invoke(object, CORVANE_USE_GET, property, NULL, 0, text, error);
}
static inline bool corvane_get_number(corvane_object* object, const char* property, int64_t* number,
                                      corvane_error* error) {
  corvane_value value;
  if (!corvane_invoke(object, CORVANE_USE_GET, property, NULL, 0, &value, error)) return false;
  *number = value.number;
  corvane_value_clear(&value);
  return true;
}
/* NULL without an error when the property is no object. Release it. */
static inline corvane_object* corvane_get_object(corvane_object* object, const char* property,
                                                 corvane_error* error) {
  corvane_value value;
  if (!corvane_invoke(object, CORVANE_USE_GET, property, NULL, 0, &value, error)) return NULL;
  if (value.kind == CORVANE_OBJECT) return value.object;
  corvane_value_clear(&value);
  return NULL;
}
static inline bool corvane_put_text(corvane_object* object, const char* property, const char* text,
                                    corvane_error* error) {
  corvane_value value = corvane_text(text);
  return corvane_invoke(object, CORVANE_USE_PUT, property, &value, 1, NULL, error);
}
static inline bool corvane_put_number(corvane_object* object, const char* property, int64_t number,
                                      corvane_error* error) {
  corvane_value value = corvane_number(number);
  return corvane_invoke(object, CORVANE_USE_PUT, property, &value, 1, NULL, error);
}
static inline bool corvane_call(corvane_object* object, const char* method, corvane_error* error) {
  return corvane_invoke(object, CORVANE_USE_CALL, method, NULL, 0, NULL, error);
}
/* The element of a list at a position, counted from 1. Release it. */
static inline corvane_object* corvane_item(corvane_object* list, int64_t position, corvane_error* error) {
  corvane_value value = corvane_number(position), result;
  if (!corvane_invoke(list, CORVANE_USE_GET, "Item", &value, 1, &result, error)) return NULL;
  return result.object;
}

static inline bool corvane_queue_initialize(corvane_object* queue, const char* name, corvane_error* error) {
  corvane_value arguments[2];
  arguments[0] = corvane_text(name);
  arguments[1] = corvane_truth(false); /* no journal */
  return corvane_invoke(queue, CORVANE_USE_CALL, "Initialize", arguments, 2, NULL, error);
}
static inline bool corvane_queue_send_document(corvane_object* queue, const char* text, size_t size,
                                               corvane_error* error) {
  corvane_value value = corvane_bytes(text, size);
  return corvane_invoke(queue, CORVANE_USE_CALL, "SendDocument", &value, 1, NULL, error);
}
/* The next message, NULL without an error when nothing waits (database store). Release it. */
static inline corvane_object* corvane_queue_receive_next(corvane_object* queue, corvane_error* error) {
  corvane_value result;
  if (!corvane_invoke(queue, CORVANE_USE_CALL, "ReceiveNext", NULL, 0, &result, error)) return NULL;
  return result.object;
}
static inline bool corvane_queue_acknowledge_document(corvane_object* queue, const char* identifier,
                                                      corvane_error* error) {
  corvane_value value = corvane_text(identifier);
  return corvane_invoke(queue, CORVANE_USE_CALL, "AcknowledgeDocument", &value, 1, NULL, error);
}
/* A filter of conditions in words, such as MsgType equal "ORDER". Release it. */
static inline corvane_object* corvane_filter(corvane_object* operations, const char* conditions,
                                             corvane_error* error) {
  corvane_value filter;
  if (!corvane_invoke(operations, CORVANE_USE_CALL, "NewFilter", NULL, 0, &filter, error)) return NULL;
  if (corvane_put_text(filter.object, "Text", conditions, error)) return filter.object;
  corvane_value_clear(&filter);
  return NULL;
}
/* The documents that a filter, or NULL, lets through: call NextPage of it, then Count and corvane_item.
 * Release it. */
static inline corvane_object* corvane_search(corvane_object* operations, const char* queue, bool is_journal,
                                             corvane_object* filter, corvane_error* error) {
  corvane_value arguments[3], result;
  arguments[0] = corvane_text(queue);
  arguments[1] = corvane_truth(is_journal);
  arguments[2] = corvane_given(filter);
  if (!corvane_invoke(operations, CORVANE_USE_CALL, "Search", arguments, 3, &result, error)) return NULL;
  return result.object;
}
static inline corvane_object* corvane_statistics(corvane_object* operations, const char* queue,
                                                 corvane_error* error) {
  corvane_value value = corvane_text(queue), result;
  if (!corvane_invoke(operations, CORVANE_USE_CALL, "Statistics", &value, 1, &result, error)) return NULL;
  return result.object;
}

#ifdef __cplusplus
}
#endif

#endif
