#pragma once

/// Start and stop of the scene-graph toolkit, counted: the toolkit itself counts nothing, one stop
/// ends it for everybody. *Threads*: the thread that traverses scenes.
class MxToolkit
{
public:
  using EndCallback = void();

  /// Starts the toolkit when it is not running and raises the count.
  static void start();
  /// Lowers the count. At zero the toolkit is stopped, if the first start found it stopped; an
  /// application that started it before stops it itself.
  static void finish();

  /// Has `callback` called once, while the toolkit still stands, when it is stopped by anyone.
  /// Asked again before that with the same callback, this does nothing.
  static void callAtEnd(EndCallback* callback);

  /// A number that differs from one run of the toolkit to the next; 0 before the first start.
  static unsigned generation();

  /// Registers and removes the node classes of this folder.
  static void initClasses();
  static void exitClasses();
};
