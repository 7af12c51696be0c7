// A question that nobody answers.

#ifndef TERMINAL_UNANSWERED_DIALOG_H
#define TERMINAL_UNANSWERED_DIALOG_H

/// Closes the modal dialog that is open, if there is one, with nothing chosen in its lists: one
/// that is only closed stands for whatever is highlighted in it. The user interface's thread, in
/// the dialog's own event loop; also in a program without widgets, where it does nothing.
void leaveUnansweredDialog();

#endif // TERMINAL_UNANSWERED_DIALOG_H
