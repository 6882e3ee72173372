"""The module, on both stores."""

import os
import signal
import tempfile
import threading
import unittest
from datetime import datetime, timedelta, timezone

from corvanequeue import Error, Operations, Queue, Queues, Utility, pump


class CorvaneQueueTest(unittest.TestCase):
    def setUp(self):
        self.home = tempfile.TemporaryDirectory()
        os.environ["CORVANE_HOME"] = self.home.name
        self.addCleanup(self.home.cleanup)

    def use(self, store):
        with Utility() as utility:
            utility.QueueStoreType = store

    def test_documents_are_received_by_polling(self):
        self.use("db")
        with Queue("Orders") as queue, Operations() as operations:
            queue.MsgType = "ORDER"
            with queue.transaction():
                for text in ("Grüße", "with\0zero", ""):
                    queue.SendDocument(text)
            with self.assertRaises(ZeroDivisionError), queue.transaction():
                queue.SendDocument("given up")
                raise ZeroDivisionError
            self.assertEqual([each.Body for each in queue.Messages()], ["Grüße", "with\0zero", ""])
            self.assertEqual([each.Body for each in operations.Search("Orders", 'Body contains "zero"')], ["with\0zero"])
            for message in queue.receive():
                queue.AcknowledgeDocument(message.ID)
            self.assertEqual([each.Label for each in queue.Journal()], ["Msg Type: <ORDER> "] * 3)
            now = datetime.now(timezone.utc)
            self.assertLess(abs(operations.Statistics("Orders").LastSent - now), timedelta(minutes=1))
            seen = []
            with operations.progress(lambda done, total: seen.append((done, total))):
                self.assertEqual(operations.Redrive("Orders"), 3)
            self.assertEqual(seen, [(3, 3)])
            sent = operations.Send(queue, "x")
            self.assertEqual(sent, next(operations.Search("Orders", newest_first=True)).ID)
            self.assertEqual([each.Name for each in Queues()], ["Orders"])

    def test_documents_arrive(self):
        self.use("msmq")
        with Queue("Orders") as queue:
            queue.SendDocument("first")
            texts = []

            def take(text, identifier):
                texts.append(text)
                if len(texts) == 1:
                    raise KeyError("too much")
                queue.AcknowledgeDocument(identifier)

            with queue.arrivals(take):
                with self.assertRaises(KeyError):
                    while True:
                        pump(5)
            with queue.arrivals(take):
                while len(texts) < 2:
                    pump(5)
            self.assertEqual(texts, ["first", "first"])
            self.assertTrue(queue.IsEmpty())

    def test_ctrl_c_comes_out_of_an_endless_pump(self):
        self.use("msmq")
        with Queue("Orders") as queue, queue.arrivals(lambda text, identifier: None):
            threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
            with self.assertRaises(KeyboardInterrupt):
                while True:
                    pump(-1)

    def test_exceptions_of_handlers_come_out_of_their_own_call(self):
        self.use("db")
        with Queue("Orders") as queue, Operations() as operations:
            queue.SendDocument("x")

            def fail(done, total):
                raise KeyError("too much")

            with operations.progress(fail), operations.progress(fail), self.assertRaises(KeyError):
                operations.Acknowledge("Orders")
            with self.assertRaises(Error):
                operations.Statistics("Nowhere")
            with self.assertRaises(OverflowError):
                operations.Prune("Orders", keep=2**64)
            with self.assertRaises(AttributeError):
                queue.MsgTyp = "ORDER"
            with self.assertRaises(RuntimeError), queue.transaction(), queue.transaction():
                pass
            with operations.progress(lambda done, total: operations.close()):
                self.assertEqual(operations.Redrive("Orders"), 1)

    def test_errors_have_number_source_and_description(self):
        self.use("db")
        with Operations() as operations, self.assertRaises(Error) as raised:
            operations.Statistics("Nowhere")
        self.assertEqual((raised.exception.number, str(raised.exception)), (5, 'There is no queue "Nowhere".'))


if __name__ == "__main__":
    unittest.main()
