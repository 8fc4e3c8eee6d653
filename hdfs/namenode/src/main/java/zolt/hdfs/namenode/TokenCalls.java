package zolt.hdfs.namenode;

import java.io.IOException;
import java.io.UncheckedIOException;
import org.apache.hadoop.hdfs.security.token.delegation.DelegationTokenIdentifier;
import org.apache.hadoop.io.Text;
import org.apache.hadoop.security.UserGroupInformation;
import org.apache.hadoop.security.UserGroupInformation.AuthenticationMethod;
import org.apache.hadoop.security.token.SecretManager.InvalidToken;
import org.apache.hadoop.security.token.Token;

/** The calls for delegation tokens. */
final class TokenCalls {
    private final DelegationTokens tokens;

    /** @param tokens null where nobody needs one */
    TokenCalls(DelegationTokens tokens) {
        this.tokens = tokens;
    }

    Token<DelegationTokenIdentifier> getDelegationToken(Text renewer) throws IOException {
        if (tokens == null) {
            return null;
        }
        UserGroupInformation user = authenticated("issued");
        UserGroupInformation real = user.getRealUser();
        try {
            return new Token<>(new DelegationTokenIdentifier(new Text(user.getUserName()), renewer,
                    real == null ? null : new Text(real.getUserName())), tokens);
        } catch (UncheckedIOException e) {
            throw e.getCause();
        }
    }

    long renewDelegationToken(Token<DelegationTokenIdentifier> token) throws IOException {
        return required().renewToken(token, authenticated("renewed").getShortUserName());
    }

    void cancelDelegationToken(Token<DelegationTokenIdentifier> token) throws IOException {
        required().cancelToken(token, authenticated("cancelled").getUserName());
    }

    private DelegationTokens required() throws InvalidToken {
        if (tokens == null) {
            throw new InvalidToken("This NameNode has given out no delegation tokens: it has no Kerberos");
        }
        return tokens;
    }

    /** The caller, who may not have come with a token: one would make the next for ever. */
    private static UserGroupInformation authenticated(String what) throws IOException {
        UserGroupInformation user = Requests.user();
        AuthenticationMethod method = user.getAuthenticationMethod() == AuthenticationMethod.PROXY
                ? user.getRealUser().getAuthenticationMethod() : user.getAuthenticationMethod();
        if (UserGroupInformation.isSecurityEnabled() && method != AuthenticationMethod.KERBEROS
                && method != AuthenticationMethod.KERBEROS_SSL && method != AuthenticationMethod.CERTIFICATE) {
            throw new IOException("Delegation Token can be " + what + " only with kerberos or web authentication");
        }
        return user;
    }
}
