#include <qvreg/component/QvRegFactory.h>
