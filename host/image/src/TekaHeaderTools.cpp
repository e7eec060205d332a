#include <Zarn/Image/TekaHeaderTools.h>

#include <Zarn/Exception/Exception.h>

#include <limits>

namespace Zarn
{

void CTekaHeaderTools::AddToHistory(IImage& image, const CValueString& entry)
{
    CValueMap& header = image.Attributes();
    CValue* pHistory = header.Entry(CValue_Key(kHistory), false);
    if (pHistory == nullptr || pHistory->Vector() == nullptr)
    {
        pHistory = new CValueVector;
        header.SetEntry(CValue_Key(kHistory), pHistory);
    }
    pHistory->Vector()->PushBack(entry.Clone(CValue::tfShare));
}

void CTekaHeaderTools::SetNumberOfLabels(IImage& image, std::uint64_t count)
{
    if (count > static_cast<std::uint64_t>(std::numeric_limits<long>::max()))
    {
        throw CExBadParam(ZARN_LOCATION, "The number of labels is too large for the header");
    }
    image.Attributes().SetEntry(CValue_Key(kNumberOfLabels),
                                new CValueLong(static_cast<long>(count)));
}

bool CTekaHeaderTools::GetNumberOfLabels(const IImage& image, std::uint64_t& count)
{
    const CValue* pCount = image.Attributes().Entry(CValue_Key(kNumberOfLabels), false);
    if (pCount == nullptr || pCount->GenericType() != CValue::vtLong || pCount->Long() < 0)
    {
        return false;
    }
    count = static_cast<std::uint64_t>(pCount->Long());
    return true;
}

void CTekaHeaderTools::SetAttributes(IImage& image, const CValueMap& attributes)
{
    CValueMap& header = image.Attributes();
    for (auto it = attributes.begin(); it != attributes.end(); ++it)
    {
        header.SetEntry(it.Key(), it.Value()->Clone(CValue::tfShare));
    }
}

} // namespace Zarn
