#pragma once

class File;

// A record of the exam file that writes and reads itself at the file's
// position. Both return true when they finish; errors propagate.
class ISerializable
{
public:
    virtual ~ISerializable() = default;
    virtual bool Serialize(File& file) const = 0;
    virtual bool Deserialize(File& file) = 0;
};
