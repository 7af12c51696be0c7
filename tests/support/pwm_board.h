// The PWM files of a board whose chip 1 drives the beeper.

#ifndef TESTS_SUPPORT_PWM_BOARD_H
#define TESTS_SUPPORT_PWM_BOARD_H

#include <string>

/// While it lives, this process and the programs that it starts see the board's "/sys" and no
/// other. One at a time. A program that uses it links `pwm_test_support`.
///
/// The files are plain ones: they keep the last text that was written, whatever it is, and a number
/// written to "export" adds no output.
class PwmBoard
{
public:
    /// With output 0 exported: period, duty cycle and switch at 0.
    PwmBoard();
    ~PwmBoard();

    PwmBoard(const PwmBoard &) = delete;
    PwmBoard &operator=(const PwmBoard &) = delete;

    /// The text of a file below the chip, such as "export" or "pwm0/enable", without its line end;
    /// "none" when there is no such file.
    std::string text(const std::string &file) const;

    /// Takes output 0 away.
    void removeOutput();

    /// Lets every file of output 0 refuse to be written. They have no text any more.
    void refuseWriting();

private:
    std::string path(const std::string &file) const;

    std::string m_chip; ///< its directory, as it is found without redirection
};

#endif // TESTS_SUPPORT_PWM_BOARD_H
