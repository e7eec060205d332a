#include <Zarn/Message/Message.h>

#include <Zarn/Exception/Exception.h>
#include <Zarn/Value/ValueContainer.h>
#include <Zarn/Value/ValueScalar.h>

#include <limits>

namespace Zarn
{

CMessage::CMessage(int id, CValue* data, EnPriority priority)
    : m_nId(id), m_pData(data), m_enPriority(priority)
{
}

CMessage::~CMessage() = default;

CValueVector* CMessage::Vectorize() const
{
    auto pVector = std::make_unique<CValueVector>();
    pVector->PushBack(new CValueLong(m_nId));
    pVector->PushBack(new CValueLong(m_enPriority));
    if (m_pData != nullptr)
    {
        pVector->PushBack(m_pData->Clone(CValue::tfShare));
    }
    return pVector.release();
}

void CMessage::Devectorize(const CValueVector* vector)
{
    if (vector == nullptr)
    {
        throw CExBadParam(ZARN_LOCATION, "No vector to read a message from");
    }
    const unsigned int uSize = vector->Size();
    if (uSize != 2 && uSize != 3)
    {
        throw CExBadParam(ZARN_LOCATION,
                          "A message vector holds id, priority and optionally the data");
    }
    const CValue* pId = vector->Entry(CValue_Key(0), true);
    const CValue* pPriority = vector->Entry(CValue_Key(1), true);
    if (pId->GenericType() != CValue::vtLong || pPriority->GenericType() != CValue::vtLong)
    {
        throw CExBadParam(ZARN_LOCATION, "A message's id and priority must be long values");
    }
    const long lId = pId->Long();
    if (lId < std::numeric_limits<int>::min() || lId > std::numeric_limits<int>::max())
    {
        throw CExBadParam(ZARN_LOCATION, "A message's id must fit an int");
    }
    const long lPriority = pPriority->Long();
    if (lPriority < priLow || lPriority > priHigh)
    {
        throw CExBadParam(ZARN_LOCATION, "A message's priority must be low, normal or high");
    }
    std::unique_ptr<CValue> pData;
    if (uSize == 3)
    {
        pData.reset(vector->Entry(CValue_Key(2), true)->Clone(CValue::tfShare));
    }
    m_nId = static_cast<int>(lId);
    m_enPriority = static_cast<EnPriority>(lPriority);
    m_pData = std::move(pData);
}

} // namespace Zarn
