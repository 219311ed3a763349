#include <qvreg/factory/QvRegFactory.h>
