' A worker's shift and an operator's on one store, by a script that knows nothing but names. Its argument is the
' store: db or msmq. It ends with 1 and says why when something is not as it should be.
Option Explicit

Dim store, checks
store = WScript.Arguments(0)
checks = 0

Sub Fail(what)
  WScript.Echo "FAILED: " & what
  WScript.Quit 1
End Sub

Sub Expect(what, expected, found)
  checks = checks + 1
  If CStr(expected) <> CStr(found) Then Fail what & ": expected " & expected & ", found " & found
End Sub

' Runs a statement that must fail, with all that belongs to an error.
Sub ExpectError(what, number, source, description)
  checks = checks + 1
  If Err.Number <> number Then Fail what & ": error " & Err.Number & ", " & Err.Description
  If source <> "" And InStr(Err.Source, source) = 0 Then Fail what & ": source " & Err.Source
  If description <> "" And InStr(Err.Description, description) = 0 Then Fail what & ": description " & Err.Description
  Err.Clear
End Sub

Dim utility, queues, queue, operations, message, messages, bodies, wrong, i
Set utility = CreateObject("CorvaneQueue.Utility")
utility.QueueStoreType = store
Expect "store", store, utility.QueueStoreType

' ---- The worker: sends, receives, acknowledges, aborts.
Set queues = CreateObject("CorvaneQueue.Queues")
Set queue = queues.Add("Orders")
If store = "msmq" Then queue.JournalEnabled = True
Dim accent
accent = Chr(233)
For i = 1 To 5
  queue.ObjectID = "A" & i
  queue.SendDocument "order " & i & " for Ren" & accent
Next
Expect "exists", True, queues.Exists("Orders")
Expect "empty", False, queue.IsEmpty

Set messages = queue.Messages
If store = "db" Then
  queue.BeginTransaction
  Set message = queue.ReceiveNext
  Expect "first body", "order 1 for Ren" & accent, message.Body
  Expect "first label", True, InStr(message.Label, "<A1>") > 0
  queue.Abort
  queue.BeginTransaction
  Set message = queue.ReceiveNext
  Expect "the same again", "order 1 for Ren" & accent, message.Body
  queue.AcknowledgeDocument message.ID
  queue.Commit
Else
  messages.Refresh
  Set message = messages.Item(1)
  Expect "first body", "order 1 for Ren" & accent, message.Body
  Expect "first label", True, InStr(message.Label, "<A1>") > 0
  queue.AcknowledgeMessage message
End If

bodies = ""
messages.Refresh
For Each message In messages
  bodies = bodies & Mid(message.Body, 7, 1)
Next
Expect "bodies by For Each", "2345", bodies
Expect "count", 4, messages.Count
Expect "by position", "order 2 for Ren" & accent, messages.Item(1).Body
Set messages = queue.Journal.Messages
messages.Refresh
Expect "journal", 1, messages.Count

' ---- Errors come whole.
On Error Resume Next
Set message = messages.Item(17)
ExpectError "position", 9, "", "out of range"
queue.NoSuchMember
ExpectError "member", 438, "", ""
Err.Clear
Set operations = CreateObject("CorvaneQueue.Operations")
Set wrong = operations.NewFilter
wrong.Text = "Colour = ""red"""
ExpectError "filter", 5, "CorvaneQueue.Filter", "Colour"
operations.Statistics "Missing"
ExpectError "queue", 5, "", "Missing"
On Error Goto 0

' ---- The operator: sees, finds, moves, exports, imports, backs up, restores.
Dim statistics, filter, found, moved, files
Set statistics = operations.Statistics("Orders")
Expect "waiting", 4, statistics.Waiting
Expect "acknowledged", 1, statistics.Acknowledged
Set filter = operations.NewFilter
filter.Where "ObjectID", "equal", "A3"
Set found = operations.Search("Orders", False, filter)
found.NextPage
Expect "found", 1, found.Count
Expect "found body", "order 3 for Ren" & accent, found.Item(1).Body
queues.Add "Parked"
Expect "moved", 1, operations.Move("Orders", False, "Parked", filter)
Expect "left", 3, operations.Statistics("Orders").Waiting
files = WScript.Arguments(1)
Expect "exported", 3, operations.Export("Orders", False, operations.NewFilter, files & "\orders-" & store & ".jsonl")
Expect "deleted", 3, operations.Delete("Orders", False, operations.NewFilter)
Expect "imported", 3, operations.Import(files & "\orders-" & store & ".jsonl", "Orders")
Expect "waiting again", 3, operations.Statistics("Orders").Waiting
operations.Backup files & "\copy-" & store
Expect "purged", 3, operations.Delete("Orders", False, operations.NewFilter)
Set queue = Nothing
Set messages = Nothing
Set message = Nothing
Set found = Nothing
Set queues = Nothing
On Error Resume Next
operations.Restore files & "\copy-" & store
If Err.Number <> 0 Then Fail "restoring: " & Err.Description
On Error Goto 0
Expect "restored", 3, operations.Statistics("Orders").Waiting
Expect "verified", "", operations.Verify
WScript.Echo store & ": " & checks & " checks passed"
