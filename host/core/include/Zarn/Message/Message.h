#pragma once

#include <Zarn/Export.h>

#include <memory>

namespace Zarn
{

class CValue;
class CValueVector;

// A message between plug-ins: an id from the message id factory and a value that the message
// owns. Handed to CMessageThread::TakeMessage, which owns it from then on.
//
// Contract: owns its data value (DetachData hands it on). Built on any thread, then handed over
// whole; not shared. Throws only std::bad_alloc.
class ZARN_CORE_API CMessage
{
public:
    enum EnPriority
    {
        priLow = 0,
        priNormal = 1,
        priHigh = 2,
    };

    enum EnMsgMode
    {
        mmQueued = 0,
    };

    // Takes the data (may be null).
    CMessage(int id, CValue* data, EnPriority priority);
    CMessage(const CMessage&) = delete;
    CMessage& operator=(const CMessage&) = delete;
    virtual ~CMessage();

    int Id() const { return m_nId; }
    const CValue* Data() const { return m_pData.get(); }
    // Gives the data to the caller; the message has none afterwards.
    CValue* DetachData() { return m_pData.release(); }
    EnPriority Priority() const { return m_enPriority; }

    // [CValueLong id, CValueLong priority, data cloned with tfShare]; without data the vector
    // has two elements. Owned by the caller.
    virtual CValueVector* Vectorize() const;
    // Takes id, priority and a clone (tfShare) of the data from such a vector. A vector of
    // another form throws CExBadParam and leaves the message as it was.
    virtual void Devectorize(const CValueVector* vector);

private:
    int m_nId;
    std::unique_ptr<CValue> m_pData;
    EnPriority m_enPriority;
};

} // namespace Zarn
