/* The C interface: documents there and back, errors, events, operations. */
#include <CorvaneQueue/c.h>

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#define EXPECT(condition)                                                                             \
  do {                                                                                                \
    if (!(condition)) {                                                                               \
      fprintf(stderr, "line %d: %s; %s\n", __LINE__, #condition, error.description ? error.description : ""); \
      exit(1);                                                                                        \
    }                                                                                                 \
  } while (0)

static corvane_error error;
static corvane_object* queue;
static int arrived;

static bool take(void* user, const corvane_value* arguments, size_t count) {
  ++arrived;
  if (count != 2 || arguments[0].size != 9 || memcmp(arguments[0].text, "with\0zero", 9) != 0) return false;
  if (arrived == 1) return false; /* the first time it is too much */
  return corvane_queue_acknowledge_document(user, arguments[1].text, &error);
}

static void setStore(const char* type) {
  corvane_object* utility = corvane_create("CorvaneQueue.Utility", &error);
  EXPECT(utility != NULL && corvane_put_text(utility, "QueueStoreType", type, &error));
  corvane_release(utility);
  queue = corvane_create("CorvaneQueue.Queue", &error);
  EXPECT(queue != NULL && corvane_queue_initialize(queue, "Orders", &error));
}

static void testPolling(void) {
  setStore("db");
  corvane_value text;
  EXPECT(corvane_put_text(queue, "MsgType", "ORDER", &error));
  EXPECT(corvane_queue_send_document(queue, "Gr\xC3\xBC\xC3\x9F"
                                            "e",
                                     7, &error));
  corvane_object* operations = corvane_create("CorvaneQueue.Operations", &error);
  corvane_object* filter = corvane_filter(operations, "MsgType equal \"ORDER\"", &error);
  corvane_object* found = corvane_search(operations, "Orders", false, filter, &error);
  EXPECT(found != NULL && corvane_invoke(found, CORVANE_USE_CALL, "NextPage", NULL, 0, &text, &error) && text.number == 1);
  corvane_object* document = corvane_item(found, 1, &error);
  EXPECT(document != NULL && corvane_get_text(document, "Body", &text, &error));
  EXPECT(strcmp(text.text, "Gr\xC3\xBC\xC3\x9F"
                           "e") == 0);
  corvane_value_clear(&text);
  EXPECT(corvane_filter(operations, "Colour equal \"x\"", &error) == NULL);
  EXPECT(error.number == 5 && strstr(error.description, "there are MsgType") != NULL);
  corvane_object* message = corvane_queue_receive_next(queue, &error);
  EXPECT(message != NULL && corvane_get_text(message, "ID", &text, &error));
  EXPECT(corvane_queue_acknowledge_document(queue, text.text, &error));
  corvane_value_clear(&text);
  EXPECT(corvane_queue_receive_next(queue, NULL) == NULL);
  corvane_object* statistics = corvane_statistics(operations, "Orders", &error);
  int64_t count = 0;
  EXPECT(corvane_get_number(statistics, "Acknowledged", &count, &error) && count == 1);
  corvane_object* const all[] = {statistics, message, document, found, filter, operations, queue};
  for (size_t i = 0; i < sizeof all / sizeof *all; ++i) corvane_release(all[i]);
}

static void testArrivals(void) {
  setStore("msmq");
  corvane_object* listener = corvane_listen(queue, "evtArrived", take, queue, &error);
  EXPECT(listener != NULL && corvane_call(queue, "ReceiveEnable", &error));
  EXPECT(corvane_queue_send_document(queue, "with\0zero", 9, &error));
  while (arrived == 0 && corvane_pump(1000, &error)) {
  }
  EXPECT(error.number == 100 && strstr(error.description, "handler of the event has failed") != NULL);
  EXPECT(corvane_call(queue, "Abort", &error) && corvane_call(queue, "ReceiveDisable", &error) &&
         corvane_call(queue, "ReceiveEnable", &error));
  while (arrived < 2) EXPECT(corvane_pump(1000, &error));
  corvane_release(listener);
  EXPECT(!corvane_call(queue, "Nonsense", &error) && error.number == 438);
  EXPECT(corvane_listen(queue, "evtNonsense", take, NULL, &error) == NULL && error.number == 5);
  EXPECT(corvane_create("CorvaneQueue.Nonsense", &error) == NULL);
  EXPECT(!corvane_call(queue, "SendDocument", &error) &&
         strstr(error.description, "\"SendDocument\" does not take 0 arguments") != NULL);
  EXPECT(!corvane_call(NULL, "Purge", &error) && error.number == 91);
  EXPECT(corvane_create(NULL, &error) == NULL && error.number == 5);
  EXPECT(!corvane_queue_send_document(queue, NULL, 24, &error) && error.number == 5);
  EXPECT(corvane_listen(queue, "evtArrived", NULL, NULL, &error) == NULL && error.number == 5);
  corvane_release(queue);
}

int main(void) {
  char home[] = "/tmp/corvane-flat-XXXXXX";
  if (mkdtemp(home) == NULL || setenv("CORVANE_HOME", home, 1) != 0) return 1;
  testPolling();
  testArrivals();
  corvane_error_clear(&error);
  char command[sizeof home + 10];
  snprintf(command, sizeof command, "rm -r %s", home);
  return system(command) != 0;
}
