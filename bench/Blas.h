#pragma once

/// The routines of BLAS and LAPACK that the library is compared with, in Fortran's binary
/// interface: every argument by address, matrices column by column.
extern "C" {
/// c = alpha a a' + beta c, of which one triangle is formed.
void dsyrk_(const char* triangle, const char* transposed, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* beta, double* c,
            const int* ldc);
/// The Cholesky factor of one triangle, in place.
void dpotrf_(const char* triangle, const int* n, double* a, const int* lda, int* info);
/// The inverse of the matrix whose factor dpotrf_ left.
void dpotri_(const char* triangle, const int* n, double* a, const int* lda, int* info);
}
