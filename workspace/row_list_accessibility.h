#pragma once
// How assistive technology sees a RowListView: a list whose items are its rows, each with its
// name, and where a row's pressable part is a button of its own (the pending rows' remove
// button), that button as the row's one child with a press action. Qt's own item view
// interface gives rows no children, so a button drawn in a row would not exist for a reader.

namespace norvane {

class RowListView;

// Once per process: every RowListView answers with the interface above.
void installRowListAccessibility();
// The view's rows changed: the interfaces of its old rows are gone and readers are told to
// read the list anew.
void rowListRowsChanged(RowListView* view);

}  // namespace norvane
