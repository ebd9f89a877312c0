#include "base/system_reason.h"

#include <cerrno>

namespace sorrelwind {

Sentence systemReason(int error) {
    switch (error) {
    case EACCES:
    case EPERM:
        return Sentence::of(u"没有权限", u"permission denied");
    case EROFS:
        return Sentence::of(u"文件系统只读", u"the file system is read-only");
    case ENOSPC:
    case EDQUOT:
        return Sentence::of(u"磁盘空间不足", u"there is no room left on the disk");
    case EFBIG:
        return Sentence::of(u"文件大小受到限制", u"files may not grow that large");
    case ENOENT:
    case ENOTDIR:
        return Sentence::of(u"没有这个文件夹", u"there is no such folder");
    case EISDIR:
        return Sentence::of(u"那里是一个文件夹", u"a folder is in its place");
    case ENAMETOOLONG:
        return Sentence::of(u"路径太长", u"the path is too long");
    case EMFILE:
    case ENFILE:
        return Sentence::of(u"打开的文件太多", u"too many files are open");
    case EIO:
        return Sentence::of(u"读写出错", u"the disk has an error");
    default:
        return Sentence::of(u"错误 %1", u"error %1").arg(error);
    }
}

} // namespace sorrelwind
