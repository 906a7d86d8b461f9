/// @file
/// What the device is configured to do, and what its user has changed.
#pragma once

#include <ktconfig.h>
#include <ktsettings.h>

#include <string>

#include "options.h"

/// Reads the configuration file, which nobody changes, and keeps the user's changes in a settings file beside the
/// device's other state. A change has precedence. Used on the main thread.
class Preferences {
public:
    /// Reads both files, and takes the changes of the command line over. A settings file that is missing is none; one
    /// that is damaged gives what it has, and one that cannot be read nothing: it stays beside the next one.
    /// @return false when the configuration cannot be read or a change cannot be made; `aFault` then says why.
    bool Load(Options const& aOptions, std::string& aFault);
    /// Keeps the changes, once they have turned out to make sense. @return false with a fault when they cannot be kept.
    bool Save(std::string& aFault);

    /// @return the text of a key; null when nobody has said anything.
    char const* Text(std::string const& aKey) const;
    /// Reads a number that must be within what the key allows. @return false with a fault when it is not.
    bool Number(std::string const& aKey, double& aValue, std::string& aFault) const;

private:
    bool Change(std::string const& aChange, std::string& aFault);

    ktConfig mConfig;
    ktSettings mSettings;
};
